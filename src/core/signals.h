// The end that somebody asks for by TERM or INT.
//
// The first such signal wakes the main thread, which ends the agent in order and then by the same signal, so
// that whoever waits for the process sees why it ended. A second signal, or an order that takes more than
// three seconds, ends the process at once.
#pragma once

#include <cstdint>

namespace plug {

/// Takes both signals from now on. When the first one comes, `wake` is called on a thread of its own. Main
/// thread, before any other thread starts.
void WatchSignals(void (*wake)());

/// Waits until a signal has come, at most `milliseconds`; true when one has.
bool WaitEndAsked(std::int64_t milliseconds);

/// Ends the process by the signal that came.
[[noreturn]] void EndBySignal();

}  // namespace plug
