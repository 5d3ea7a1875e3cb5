#include "rules/eaccess.h"

#include "core/log.h"
#include "core/status_file.h"
#include "core/sync.h"
#include "rules/iot_poll.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "eaccess.c";

constexpr int kMode = 1;
constexpr int kValue = 99;
constexpr int kPort = 6100;

struct EaccessState {
    Thread thread;
};
constinit EaccessState state;

void EaccessProc() {
    no_feeling_daemon(kMode, kValue, kPort);
}

}  // namespace

int StartEaccess() {
    const LogAuthor author(__func__);
    const int error = state.thread.Start(EaccessProc, "eaccess");
    if (error != 0) {
        PLUG_LOG(kErr, "Create EaccessThread feiled !!!!!");
        WriteStatus(Status::kStartFailed);
    }
    return error;
}

void StopEaccess() {
    const LogAuthor author(__func__);
    StopDaemon();
    state.thread.Join();
    PLUG_LOG(kDebug, "Stop Eaccess success !!!!!");
}

}  // namespace plug
