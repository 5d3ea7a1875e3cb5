// Ctrl-C in the console, and Cancel on the page: they end the running command, not the bench.
#pragma once

#include <chrono>
#include <cstdint>
#include <stdexcept>

namespace plug::bench {

/// The user has interrupted what was going on.
struct Interrupted : std::runtime_error {
    Interrupted() : std::runtime_error("interrupted") {}
};

/// While one lives, an interruption ends the waits of the thread that made it. One at a time.
class InterruptGuard {
  public:
    enum class Signal : std::uint8_t {
        kInterrupts,  // SIGINT is an interruption, instead of ending the process
        kAsBefore,    // only Interrupt() is one
    };
    explicit InterruptGuard(Signal signal = Signal::kInterrupts);
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

  private:
    const Signal signal_;
};

/// Any thread, and signal handlers too.
void Interrupt();
/// Throws Interrupted when an interruption came since it last did; only on the thread of a guard.
void ThrowIfInterrupted();
/// The same without throwing.
bool TakeInterruption();
/// A pause, which throws Interrupted when it is interrupted.
void PauseFor(std::chrono::milliseconds time);
/// True where only Interrupt() interrupts: not on a thread without a guard, nor where the terminal's Ctrl-C
/// does, which reaches what was started there by itself.
bool InterruptedWithoutTerminal();
/// Readable when an interruption came; -1, which poll passes over, on a thread without a guard.
int InterruptionDescriptor();

/// What long waits wait at a time, to notice an interruption.
constexpr std::chrono::milliseconds kWaitStep{50};

}  // namespace plug::bench
