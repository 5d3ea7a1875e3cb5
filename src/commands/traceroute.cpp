#include "commands/traceroute.h"

#include "commands/diagnostics.h"
#include "core/file.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/shell.h"
#include "core/sync.h"
#include "core/text.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ProtoolSdk.c";

constexpr char kKillCommand[] = "killall -9 traceroute";
constexpr int kWatchdogMilliseconds = 500'000;
constexpr int kKillMilliseconds = 1000;  // in which a killed traceroute is gone

struct TracerouteState {
    // Response thread.
    Thread worker;
    Thread watchdog;
    std::array<char, 16> address{};  // read by the worker
    Event finished;                  // set by the worker at its end, cleared before its start
};
constinit TracerouteState state;

bool Running() {
    return state.worker.started() && !state.finished.IsSet();
}

void TracerouteWorker() {
    char command[128];
    snprintf(command, sizeof command, "traceroute -n %s > %s", state.address.data(), kTraceroutePath);
    OpenToWrite(kTraceroutePath);  // the shell then writes to a file of ours
    RunShell(command);
    state.finished.Set();
}

/// Both have ended or are about to: the end of the worker is what the watchdog waits for.
void JoinBoth() {
    (void)state.watchdog.Join();
    (void)state.worker.Join();
}

}  // namespace

void KillTrace500s() {
    const LogAuthor author(__func__);
    if (!state.finished.WaitFor(kWatchdogMilliseconds)) {
        RunShell(kKillCommand);
        PLUG_LOG(kDebug, "kill traceroute");
    }
    PLUG_LOG(kDebug, "Exit killTrace");
}

int StartTraceroute(std::string_view address) {
    if (Running()) return kDiagnosticBusy;
    JoinBoth();
    CopyText(state.address, address);
    state.finished.Clear();
    if (state.worker.Start(TracerouteWorker, "traceroute") != 0) {
        PLUG_LOG(kErr, "Create TracerouteThread Failed.");
        return 1;
    }
    if (state.watchdog.Start(KillTrace500s, "KillTrace500s") != 0) {
        PLUG_LOG(kErr, "Create KillTrace500s Failed.");
        return 1;
    }
    return 0;
}

std::optional<std::string_view> FetchTraceroute(std::span<char> room) {
    StopTraceroute();
    const FilePtr file = OpenOwnToRead(kTraceroutePath);
    if (!file) {
        PLUG_LOG(kErr, "Open %s Failed.", kTraceroutePath);
        return std::nullopt;
    }
    return std::string_view(room.data(), fread(room.data(), 1, room.size(), file.get()));
}

void StopTraceroute() {
    // A traceroute that the shell is only about to start escapes the first kill.
    while (Running()) {
        RunShell(kKillCommand);
        state.finished.WaitFor(kKillMilliseconds);
    }
    JoinBoth();
}

}  // namespace plug
