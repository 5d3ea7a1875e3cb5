// Loaded before the C library into an agent under test: gives it the test's clock, and appends every status
// that it writes to a file, so that none goes unseen. Loaded into an agent's supervisor it changes nothing
// and goes on to the agent. Plain dlsym finds a sanitizer's wrappers where there are some.
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "preload/clock.h"

namespace {

using plug::preload::Clock;

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kLook = 20'000'000;  // true time after which a wait looks whether the clock was moved

/// The function that the agent would have called.
template <class Function>
Function* Next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::int64_t Nanoseconds(const timespec& time) {
    return time.tv_sec * kSecond + time.tv_nsec;
}

timespec TimeSpec(std::int64_t nanoseconds) {
    return {nanoseconds / kSecond, nanoseconds % kSecond};
}

std::int64_t TrueTime(clockid_t clock) {
    static auto* const next = Next(&clock_gettime, "clock_gettime");
    timespec now{};
    next(clock, &now);
    return Nanoseconds(now);
}

/// Only an agent uses the router's library.
bool IsAgent() {
    static const bool is_agent = dlsym(RTLD_DEFAULT, "get_router_mac") != nullptr;
    return is_agent;
}

const Clock* MapClock() {
    const char* const path = IsAgent() ? getenv(plug::preload::kClockVariable) : nullptr;
    const int file = path != nullptr ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0) return nullptr;
    void* const mapped = mmap(nullptr, sizeof(Clock), PROT_READ, MAP_SHARED, file, 0);
    close(file);
    return mapped != MAP_FAILED ? static_cast<const Clock*>(mapped) : nullptr;
}

/// The test's clock; null without one.
const Clock* TestClock() {
    static const Clock* const clock = MapClock();
    return clock;
}

std::int64_t ShownTime(clockid_t clock) {
    if (TestClock() == nullptr || (clock != CLOCK_REALTIME && clock != CLOCK_MONOTONIC))
        return TrueTime(clock);
    const std::int64_t shown = TestClock()->Shown(TrueTime(CLOCK_MONOTONIC));
    return clock == CLOCK_MONOTONIC ? shown : shown + TestClock()->day;
}

/// How long to wait now for something that is due in `nanoseconds` of the agent's clock.
std::int64_t TrueSpan(std::int64_t nanoseconds) {
    if (TestClock() == nullptr) return nanoseconds;
    return std::clamp<std::int64_t>(nanoseconds / TestClock()->speed, 0, kLook);
}

/// Calls `wait` with true nanoseconds until it is satisfied or the agent's clock shows `deadline`. False
/// then.
template <class Wait>
bool WaitUntil(std::int64_t deadline, Wait wait) {
    for (;;) {
        const std::int64_t left = deadline - ShownTime(CLOCK_MONOTONIC);
        if (wait(TrueSpan(std::max<std::int64_t>(left, 0)))) return true;
        if (ShownTime(CLOCK_MONOTONIC) >= deadline) return false;
    }
}

bool IsStatus(const char* bytes, std::size_t count) {
    return count == 4 && strspn(bytes, "0123456789") == 3 && bytes[3] == '\n';
}

void NoteStatus(const void* bytes, std::size_t count) {
    if (!IsStatus(static_cast<const char*>(bytes), count)) return;
    const char* const path = getenv(plug::preload::kStatusesVariable);
    const int file = path != nullptr ? open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600) : -1;
    if (file < 0) return;
    (void)!write(file, bytes, count);
    close(file);
}

/// The programs that the agent runs stay as they are, and may be those of another machine.
[[gnu::constructor]] void LeaveChildrenAlone() {
    if (IsAgent()) unsetenv("LD_PRELOAD");
}

}  // namespace

extern "C" {

// Declared with or without noexcept, as the C library does.
int clock_gettime(clockid_t clock, timespec* now) noexcept(noexcept(::clock_gettime(clock, now))) {
    *now = TimeSpec(ShownTime(clock));
    return 0;
}

time_t time(time_t* now) noexcept(noexcept(::time(now))) {
    const time_t seconds = ShownTime(CLOCK_REALTIME) / kSecond;
    if (now != nullptr) *now = seconds;
    return seconds;
}

int nanosleep(const timespec* span, timespec*) {
    static auto* const next = Next(&nanosleep, "nanosleep");
    WaitUntil(ShownTime(CLOCK_MONOTONIC) + Nanoseconds(*span), [](std::int64_t left) {
        const timespec part = TimeSpec(left);
        next(&part, nullptr);
        return false;
    });
    return 0;
}

int poll(pollfd* polled, nfds_t count, int milliseconds) {
    static auto* const next = Next(&poll, "poll");
    if (milliseconds <= 0) return next(polled, count, milliseconds);
    int ready = 0;
    WaitUntil(ShownTime(CLOCK_MONOTONIC) + milliseconds * (kSecond / 1000), [&](std::int64_t left) {
        ready = next(polled, count, static_cast<int>((left + 999'999) / 1'000'000));
        return ready != 0;
    });
    return ready;
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    static auto* const next = Next(&pthread_cond_timedwait, "pthread_cond_timedwait");
    const std::int64_t end = Nanoseconds(*deadline);
    const std::int64_t left = std::max<std::int64_t>(end - ShownTime(CLOCK_MONOTONIC), 0);
    const timespec part = TimeSpec(TrueTime(CLOCK_MONOTONIC) + TrueSpan(left));
    const int error = next(condition, mutex, &part);
    // Between two parts of a wait nobody is woken, so behind each the caller looks whether it has its reason.
    return error == ETIMEDOUT && ShownTime(CLOCK_MONOTONIC) < end ? 0 : error;
}

ssize_t pwrite(int file, const void* bytes, size_t count, off_t offset) {
    static auto* const next = Next(&pwrite, "pwrite");
    const ssize_t written = next(file, bytes, count, offset);
    NoteStatus(bytes, count);
    return written;
}

ssize_t pwrite64(int file, const void* bytes, size_t count, off_t offset) {
    return pwrite(file, bytes, count, offset);
}

}  // extern "C"
