#include "bench/interruption.h"

#include <poll.h>
#include <signal.h>

#include "bench/poll_flag.h"

namespace plug::bench {
namespace {

/// Lives on after its guard, so that a late signal finds it.
const PollFlag& Flag() {
    static const PollFlag flag;
    return flag;
}

thread_local bool guarded = false;
thread_local bool by_terminal = false;

void Handle(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigaction(SIGINT, &action, nullptr);
}

bool Readable(int milliseconds) {
    pollfd polled{InterruptionDescriptor(), POLLIN, 0};
    return poll(&polled, 1, milliseconds) > 0;
}

}  // namespace

InterruptGuard::InterruptGuard(Signal signal) : signal_(signal) {
    Flag().Clear();
    guarded = true;
    by_terminal = signal_ == Signal::kInterrupts;
    if (signal_ == Signal::kInterrupts) Handle([](int) { Interrupt(); });
}

InterruptGuard::~InterruptGuard() {
    if (signal_ == Signal::kInterrupts) Handle(SIG_DFL);
    guarded = false;
}

void Interrupt() {
    const int error = errno;  // of what a signal came into
    Flag().Set();
    errno = error;
}

bool TakeInterruption() {
    if (!guarded || !Readable(0)) return false;
    Flag().Clear();
    return true;
}

void ThrowIfInterrupted() {
    if (TakeInterruption()) throw Interrupted();
}

void PauseFor(std::chrono::milliseconds time) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    auto left = time;
    do {
        if (left.count() > 0) Readable(static_cast<int>(left.count()));
        ThrowIfInterrupted();
        left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    } while (left.count() > 0);
}

bool InterruptedWithoutTerminal() {
    return guarded && !by_terminal;
}

int InterruptionDescriptor() {
    return guarded ? Flag().descriptor() : -1;
}

}  // namespace plug::bench
