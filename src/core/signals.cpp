#include "core/signals.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>

#include "core/clock.h"
#include "core/sync.h"

namespace plug {
namespace {

constexpr int kOrderMilliseconds = 3000;
constexpr int kSignalExit = 128;  // and the signal's number: what a shell shows of an end by a signal

struct SignalState {
    void (*wake)() = nullptr;  // set once at start-up
    int signal = 0;            // written by the watcher before `asked` is set
    Event asked;
    Thread watcher;
};
constinit SignalState state;

sigset_t EndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

void Watch() {
    const sigset_t signals = EndingSignals();
    while (sigwait(&signals, &state.signal) != 0) {
    }
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);  // a second one ends the process here
    state.asked.Set();
    state.wake();
    Pace(kOrderMilliseconds);
    EndBySignal();
}

}  // namespace

void WatchSignals(void (*wake)()) {
    state.wake = wake;
    const sigset_t signals = EndingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    if (state.watcher.Start(Watch, "signals") != 0) pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

bool WaitEndAsked(std::int64_t milliseconds) {
    return state.asked.WaitFor(milliseconds);
}

void EndBySignal() {
    const sigset_t signals = EndingSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    raise(state.signal);
    _exit(kSignalExit + state.signal);  // the first process of a container is not ended by its own signal
}

}  // namespace plug
