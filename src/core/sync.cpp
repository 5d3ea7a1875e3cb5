#include "core/sync.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace plug {
namespace {

// The deepest bodies hold three frames of 8 KiB, or parse JSON a thousand levels deep.
constexpr std::size_t kStackBytes = 256 * 1024;

timespec Deadline(std::int64_t milliseconds) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += static_cast<time_t>(milliseconds / 1000);
    deadline.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
    if (deadline.tv_nsec >= 1'000'000'000) {
        deadline.tv_nsec -= 1'000'000'000;
        ++deadline.tv_sec;
    }
    return deadline;
}

}  // namespace

void Event::PrepareLocked() {
    if (prepared_) return;
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&condition_, &attributes);
    pthread_condattr_destroy(&attributes);
    prepared_ = true;
}

void Event::Set() {
    const Guard guard(mutex_);
    PrepareLocked();
    set_ = true;
    pthread_cond_broadcast(&condition_);
}

void Event::Clear() {
    const Guard guard(mutex_);
    set_ = false;
}

bool Event::IsSet() {
    const Guard guard(mutex_);
    return set_;
}

bool Event::WaitLocked(std::int64_t milliseconds) {
    PrepareLocked();
    const timespec deadline = Deadline(milliseconds);
    while (!set_) {
        if (pthread_cond_timedwait(&condition_, &mutex_.handle_, &deadline) != 0) break;
    }
    return set_;
}

bool Event::WaitFor(std::int64_t milliseconds) {
    const Guard guard(mutex_);
    return WaitLocked(milliseconds);
}

bool Event::TakeWithin(std::int64_t milliseconds) {
    const Guard guard(mutex_);
    const bool taken = WaitLocked(milliseconds);
    set_ = false;
    return taken;
}

void Event::Take() {
    const Guard guard(mutex_);
    PrepareLocked();
    while (!set_) pthread_cond_wait(&condition_, &mutex_.handle_);
    set_ = false;
}

int PollableEvent::Prepare() {
    if (descriptor_ == 0) {
        const int opened = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (opened < 0) return -1;
        descriptor_ = opened;
    }
    std::uint64_t count = 0;
    ssize_t cleared = -1;
    do {
        cleared = read(descriptor_, &count, sizeof count);
    } while (cleared < 0 && errno == EINTR);
    return cleared >= 0 || errno == EAGAIN ? 0 : -1;  // still set, it would end every wait at once
}

void PollableEvent::Set() {
    const std::uint64_t one = 1;
    if (descriptor_ <= 0) return;
    while (write(descriptor_, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

Readiness WaitReady(int socket, Direction direction, const PollableEvent& stop, int milliseconds) {
    const short events = direction == Direction::kRead ? POLLIN : POLLOUT;
    pollfd waited[] = {{socket, events, 0}, {stop.descriptor(), POLLIN, 0}};
    const int ready = poll(waited, 2, milliseconds);
    if (ready < 0) return errno == EINTR ? Readiness::kTimeout : Readiness::kError;
    if (ready == 0) return Readiness::kTimeout;
    if (waited[1].revents != 0) return Readiness::kStopped;
    return (waited[0].revents & POLLNVAL) != 0 ? Readiness::kError : Readiness::kReady;
}

void* Thread::Run(void* thread) {
    const auto* const self = static_cast<const Thread*>(thread);
    prctl(PR_SET_NAME, self->name_);
    self->body_();
    return nullptr;
}

int Thread::Start(void (*body)(), const char* name) {
    body_ = body;
    name_ = name;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kStackBytes);
    const int error = pthread_create(&handle_, &attributes, Run, this);
    pthread_attr_destroy(&attributes);
    started_ = error == 0;
    return error;
}

int Thread::Join() {
    if (!started_) return 0;
    const int error = pthread_join(handle_, nullptr);
    started_ = false;
    return error;
}

}  // namespace plug
