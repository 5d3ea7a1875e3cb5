// Ctrl-C in the console: it ends the running command, not the bench.
#pragma once

#include <chrono>
#include <stdexcept>

namespace plug::bench {

/// The user has interrupted what was going on.
struct Interrupted : std::runtime_error {
    Interrupted() : std::runtime_error("interrupted") {}
};

/// While one lives, SIGINT is noted instead of ending the process, and ends the waits of the thread that made
/// it. One at a time.
class InterruptGuard {
  public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;
};

/// Throws Interrupted when SIGINT came since it last did; only on the thread of a guard.
void ThrowIfInterrupted();
/// The same without throwing.
bool TakeInterruption();
/// A pause, which throws Interrupted when it is interrupted.
void PauseFor(std::chrono::milliseconds time);
/// Readable when SIGINT came; -1, which poll passes over, on a thread without a guard.
int InterruptionDescriptor();

/// What long waits wait at a time, to notice an interruption.
constexpr std::chrono::milliseconds kWaitStep{50};

}  // namespace plug::bench
