#include "rules/iot_poll.h"

#include "core/log.h"
#include "rules/surf_schedule.h"
#include "rules/unreached.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "iot_poll.c";

constexpr int kPassMilliseconds = 30'000;

struct DaemonState {
    Event stop;  // taken by TimeRuleProc
    Thread epoll;
    Thread time_rules;
};
constinit DaemonState state;

void TimeRuleProc() {
    const LogAuthor author(__func__);
    PLUG_LOG(kDebug, "TimeRuleProc runing...");
    while (!state.stop.TakeWithin(kPassMilliseconds)) surf_rule_func(LocalCalendar(WallSeconds()));
    PLUG_LOG(kDebug, "TimeRuleProc return...");
}

int JoinLogged(Thread& thread) {
    const int error = thread.Join();
    if (error != 0) PLUG_LOG(kErr, " thread is not exit...");
    return error;
}

}  // namespace

int no_feeling_daemon(int mode, int value, int port) {
    const LogAuthor author(__func__);
    KeepDaemonSettings({mode, value, port});
    if (state.epoll.Start(thread_epoll, "thread_epoll") != 0) return -3;
    {
        const Guard guard(SurfRuleMutex());
        hash_table_init();
    }
    const int error = state.time_rules.Start(TimeRuleProc, "TimeRuleProc");
    if (error != 0)
        PLUG_LOG(kDebug, "create TimeRuleProc error!");
    else
        PLUG_LOG(kDebug, "create TimeRuleProc ok!");
    JoinLogged(state.epoll);
    if (error != 0) return -3;
    return JoinLogged(state.time_rules) != 0 ? -7 : 0;
}

void StopDaemon() {
    state.stop.Set();
}

}  // namespace plug
