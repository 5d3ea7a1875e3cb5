#include "agent.h"

#include "commands/diagnostics.h"
#include "commands/dispatcher.h"
#include "commands/version_report.h"
#include "commserver/auto_report_config.h"
#include "commserver/comm_dispatch.h"
#include "commserver/comm_reply.h"
#include "commserver/comm_request.h"
#include "commserver/comm_server.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/options.h"
#include "core/paths.h"
#include "core/process.h"
#include "core/profile.h"
#include "core/shell.h"
#include "core/signals.h"
#include "core/status_file.h"
#include "core/version.h"
#include "platform/identity.h"
#include "platform/inbound.h"
#include "platform/link_state.h"
#include "platform/session.h"
#include "platform/settings.h"
#include "rules/eaccess.h"
#include "rules/plug_data.h"
#include "subdev/function39.h"
#include "subdev/function40.h"
#include "subdev/scanner.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Plug.c";

constexpr int kMostRegisterFailures = 10;  // with more of them behind it, a round that fails ends the process
constexpr int kServer1Tries = 3;
constexpr int kAfterServer1Milliseconds = 5000;
constexpr std::int64_t kStepMilliseconds = 2000;
constexpr std::int64_t kStepsInAWeek = 302400;
constexpr int kAfterLossMilliseconds = 20'000;
constexpr std::int64_t kDayMilliseconds = 86'400'000;
constexpr std::int64_t kRegistrationLife = 72000;  // seconds since the login after which a new one is due

/// The main thread's session with the platform.
struct Session {
    ServerChoice choice = ServerChoice::kNone;
    LinkThreads threads;
    int register_failures = 0;
    std::int64_t login_time = 0;  // monotonic seconds
    std::int64_t step = 0;        // two-second steps of a standing link since the last registration
};

[[noreturn]] void FatalExit() {
    WriteStatus(Status::kStartFailed);
    EndProcess();
}

[[noreturn]] void DnsExit() {
    PLUG_LOG(kErr, "Dns parse failed, exit!!!");
    FatalExit();
}

void OnLinkLost() {
    SetLoggedIn(false);
    WriteStatus(Status::kLinkLost);
    RaiseLinkError();
}

ServerChoice InitLink(const Options& options) {
    if (PrepareCipher() != 0) {
        PLUG_LOG(kErr, "The cipher cannot be had.");
        FatalExit();
    }
    SetLinkHandlers({CBHandle, OnLinkLost});
    SetCommandHandlers({ParserProtoolData, ParserPlugData});
    SetDeviceListHandler(Fn40Handle);
    NewProgramProfile(options.profile_path.data(), kDefaultProfilePath);
    return InitProtool();
}

/// Everything that runs beside the session. Without access control, or without functions 39 and 40, the
/// agent still does its work.
void StartServices() {
    StartEaccess();
    if (CommServerStart() != 0) {
        PLUG_LOG(kErr, "Comm server start error.");
        FatalExit();
    }
    Pace(10);
    Fn39Init();
    Pace(10);
    Fn40Init();
    if (StartSubdev() != 0) {
        PLUG_LOG(kDebug, "StartSubdev failed.");
        FatalExit();
    }
}

/// Called on the thread of signals: ends what the other threads wait for.
void WakeForTheEnd() {
    EndShellCommands();
    EndReplyWaits();
    EndLinks();
}

/// Ends the agent as it was asked to: the link first, so that nothing new is begun, the local peer last.
[[noreturn]] void EndInOrder(Session& session) {
    PLUG_LOG(kInfo, "asked to end");
    SetLoggedIn(false);
    ComF_send_pluginstate();
    DeleteHeartbear(session.threads);
    DeleteServer(session.threads);
    WriteStatus(Status::kLinkLost);
    StopDiagnostics();
    StopEaccess();
    StopSubdev();
    Fn39Stop();
    Fn40Stop();
    CommServerStop();
    EndBySignal();
}

/// A pause between two attempts. It, and whatever else the main thread waits for, ends early for the end of
/// the agent, which is then carried out here.
void PauseSession(Session& session, std::int64_t milliseconds) {
    if (WaitEndAsked(milliseconds)) EndInOrder(session);
}

int RegisterAt(Session& session, const char* server_ip, const char* log_text) {
    ResetLinkState(session.threads);
    PLUG_LOG(kDebug, "%s", log_text);
    const int result = RegisterStart(session.threads, server_ip);
    PauseSession(session, 0);
    return result;
}

/// Three tries at server 1, then one at server 2.
int RegisterAtEither(Session& session) {
    const Settings& settings = PlatformSettings();
    for (int attempt = 0; attempt < kServer1Tries; ++attempt) {
        if (RegisterAt(session, settings.address1.data(), "Register server1...") == 0) return 0;
        PauseSession(session, kAfterServer1Milliseconds);
    }
    return RegisterAt(session, settings.address2.data(), "Register server2...");
}

/// One round of registration at the servers that the settings allow. 0 or -1.
int RegisterRound(Session& session) {
    const Settings& settings = PlatformSettings();
    if (!settings.run_mode) return RegisterAt(session, settings.address1.data(), "Test Mode!!!");
    PLUG_LOG(kDebug, "Run Mode!!!");
    switch (session.choice) {
        case ServerChoice::kBoth:
            return RegisterAtEither(session);
        case ServerChoice::kOnlyFirst:
            return RegisterAt(session, settings.address1.data(), "Only server1...");
        case ServerChoice::kOnlySecond:
            return RegisterAt(session, settings.address2.data(), "Only server2...");
        case ServerChoice::kNone:
            break;
    }
    DnsExit();
}

/// Registers, however many rounds it takes; too many failures end the process.
void RegisterPhase(Session& session) {
    WriteStatus(Status::kRegistering);
    while (RegisterRound(session) != 0) {
        if (session.register_failures > kMostRegisterFailures) {
            PLUG_LOG(kErr, "Register retry more than 10 times, exit !!!");
            FatalExit();
        }
        ++session.register_failures;
        PLUG_LOG(kErr, "RegisterStart error.");
        WriteStatus(Status::kRegistering);
    }
}

/// Starts the heartbeat of a fresh login, or takes the connection down again. 0 or -1.
int StartHeartbeat(Session& session) {
    if (HeartbeatStart(session.threads) == 0) return 0;
    PLUG_LOG(kErr, "LoginStart error.");
    DeleteHeartbear(session.threads);
    DeleteServer(session.threads);
    return -1;
}

/// 0 once logged in with the heartbeat running, -1 when a registration must come first.
int LoginPhase(Session& session) {
    const int started = LoginStart(session.threads);
    PauseSession(session, 0);
    if (started != 0) {
        PLUG_LOG(kErr, "LoginStart error.");
        return -1;
    }
    if (StartHeartbeat(session) != 0) {
        WriteStatus(Status::kStartFailed);
        return -1;
    }
    session.login_time = MonotonicSeconds();
    session.step = 0;
    return 0;
}

void SendCalibration() {
    PLUG_LOG(kDebug, "Send calibration info.");
    ComF_send_calibration();
}

/// What is done once after a registration, at its step.
struct StepAction {
    std::int64_t step;
    void (*act)();
};
constexpr StepAction kStepActions[] = {
    {8, [] { ComF_send_pluginstate(); }},
    {9, [] { ComF_get_autoreport_conf(); }},
    {11, [] { dev_fwversion_report(); }},
    {100, SendCalibration},
};

/// Sleeps until the link is lost, and wakes only for the actions that are due at their steps.
void StepUntilLost(Session& session) {
    if (LinkError()) return;
    const std::int64_t begin = MonotonicMilliseconds() - session.step * kStepMilliseconds;
    for (const StepAction& action : kStepActions) {
        if (action.step < session.step) continue;
        if (WaitLinkError(begin + action.step * kStepMilliseconds - MonotonicMilliseconds())) break;
        action.act();
    }
    while (!WaitLinkError(kDayMilliseconds)) {
    }
    session.step = (MonotonicMilliseconds() - begin) / kStepMilliseconds + 1;  // the one under way counts
}

/// Takes the lost link down. A week of steps ends the process here, for its supervisor to start it afresh.
void LeaveLostLink(Session& session) {
    PauseSession(session, 0);
    SetLoggedIn(false);
    ComF_send_pluginstate();
    if (session.step > kStepsInAWeek) {
        PLUG_LOG(kDebug, "After a week exit, restart ...");
        EndProcess();
    }
    DeleteHeartbear(session.threads);
    DeleteServer(session.threads);
    SetLoggedIn(false);  // an ack may have come while the link was taken down
    WriteStatus(Status::kLinkLost);
    PauseSession(session, kAfterLossMilliseconds);
}

/// Logs in again with the registration at hand. 0, or -1 when a new registration is due.
int RecoverLogin(Session& session) {
    if (MonotonicSeconds() - session.login_time >= kRegistrationLife) {
        PLUG_LOG(kErr, "Ready to Register ...");
        session.register_failures = 0;
        return -1;
    }
    ClearLinkError();
    SetLoggedIn(false);
    PLUG_LOG(kDebug, "ReLogin...");
    const int logged_in = ReLogin(session.threads);
    PauseSession(session, 0);
    if (logged_in != 0) {
        PLUG_LOG(kErr, "LoginStart error.");
        session.register_failures = 0;
        return -1;
    }
    ComF_send_pluginstate();
    return StartHeartbeat(session);
}

[[noreturn]] void RunSession(ServerChoice choice) {
    Session session;
    session.choice = choice;
    for (;;) {
        RegisterPhase(session);
        if (LoginPhase(session) != 0) continue;
        do {
            StepUntilLost(session);
            LeaveLostLink(session);
        } while (RecoverLogin(session) == 0);
    }
}

}  // namespace

int RunAgent(int argc, char** argv) {
    const LogAuthor author("main");
    PrepareProcess();
    Options options;
    if (config_line_proc(argc, argv, options) != 0) {
        PLUG_LOG(kErr, "Error wrong param(s).");
        return -1;
    }
    SetRouterIdentity(options.mac);
    SetLogMask(options.debug ? kAllLevels : 0);
    PLUG_LOG(kDebug, "Log system [debug] working.");
    PLUG_LOG(kInfo, ">>>>>>>>>>>>>>>>> Plugin Version = %s", kDatedVersion);
    Pace(50);
    const ServerChoice choice = InitLink(options);
    if (choice == ServerChoice::kNone) DnsExit();
    ClearLinkError();  // what the end raises is there before anybody can ask for it
    WatchSignals(WakeForTheEnd);
    StartServices();
    RunSession(choice);
}

}  // namespace plug
