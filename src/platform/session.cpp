#include "platform/session.h"

#include <atomic>
#include <cstdio>

#include "core/clock.h"
#include "core/json.h"
#include "core/log.h"
#include "core/process.h"
#include "core/status_file.h"
#include "platform/identity.h"
#include "platform/link_state.h"
#include "platform/settings.h"
#include "platform/uplink.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Protool.c";

constexpr int kShortestInterval = 20;  // seconds
constexpr int kCheckSeconds = 10;
constexpr int kSilentIntervals = 3;
constexpr std::size_t kPinBytes = 12;
constexpr std::uint8_t kRulesRequestType = 13;

// The login record: fixed bytes that every platform expects.
constexpr std::array<std::uint8_t, 25> kLoginRecord = {0, 0, 0, 0, 0, 0, 0, 0,    0,    0,    0,    0,   0,
                                                       0, 0, 0, 0, 0, 0, 2, 0x00, 0x00, 0x07, 0x01, 0x36};

struct SessionState {
    // From the register ack: written by the response thread, read by main after it joined that thread.
    std::array<char, 16> login_ip{};
    std::uint16_t login_port = 0;
    std::array<std::uint8_t, 32> token{};
    std::array<std::uint8_t, 32> second_value{};  // kept and sent nowhere
    std::atomic<int> heartbeat_seconds{kShortestInterval};
};
constinit SessionState state;

void ForgetRegistration() {
    SetRegistered(false);
    SetLoggedIn(false);
    ClearLinkError();
    state.login_ip = {};
    state.login_port = 0;
    state.token = {};
    state.second_value = {};
}

ConstBytes PinBytes() {
    return AsBytes({PlatformSettings().pin.data(), kPinBytes});
}

void RequireIdentity() {
    if (PlatformSettings().pin[0] == '\0') {
        PLUG_LOG(kErr, "ERROR: PIN is empty, plese check your plug.conf!");
        EndProcess();
    }
    if (PlatformSettings().key[0] == '\0') {
        PLUG_LOG(kErr, "ERROR: KEY is empty, plese check your plug.conf!");
        EndProcess();
    }
}

void LogAckHead(const InboundFrame& frame) {
    if (frame.header.head_length == 0) return;
    PLUG_LOG(kDebug, "optlen %d, error code = [%d]", frame.header.head_length,
             ByteReader(frame.head()).U16());
}

void HandleRegisterAck(const InboundFrame& frame, ConstBytes plain) {
    PLUG_LOG(kDebug, "regist ack ===len %d", frame.header.body_length);
    LogAckHead(frame);
    ByteReader record(plain);
    record.Skip(2);
    const auto token = record.Array<32>();
    const auto ip = record.Array<4>();
    const std::uint16_t port = record.U16();
    if (!record.ok()) {  // an empty body, or one too short to name a login server
        PLUG_LOG(kErr, "regist ack error");
        return;
    }
    state.token = token;
    state.second_value = record.Array<32>();
    state.login_port = port;
    snprintf(state.login_ip.data(), state.login_ip.size(), "%d.%d.%d.%d", ip[0], ip[1], ip[2], ip[3]);
    WriteStatus(Status::kRegistered);
    PLUG_LOG(kDebug, "regist ack======ip:%d,%d,%d,%d,port:%d", ip[0], ip[1], ip[2], ip[3], port);
    PLUG_LOG(kDebug, "regist ok tocken ,port %d", port);
    SetRegistered(true);
}

void HandleLoginAck(const InboundFrame& frame, ConstBytes plain) {
    PLUG_LOG(kDebug, "login ack");
    LogAckHead(frame);
    ByteReader record(plain);
    record.Skip(2);
    const int interval = static_cast<std::int16_t>(record.U16());
    if (!record.ok()) {  // an empty body, or one too short for an interval
        PLUG_LOG(kErr, "register ack error");
        RaiseLinkError();
        return;
    }
    state.heartbeat_seconds = std::max(interval, kShortestInterval);
    WriteStatus(Status::kLoggedIn);
    PLUG_LOG(kDebug, "login ack heartbeep interval %d", state.heartbeat_seconds.load());
    SetLoggedIn(true);
}

/// Connects to the login server, sends the login frame and waits for its ack. 0 or -1.
int Login(LinkThreads& threads, std::int64_t wait_milliseconds, bool fresh) {
    if (state.login_ip[0] == '\0') {
        PLUG_LOG(kErr, "Login Server wrong !");
        return -1;
    }
    if (fresh) {
        ClearLinkError();
        SetLoggedIn(false);
    }
    BeginAttempt();
    if (ServerInit(state.login_ip.data(), state.login_port, threads) != 0) {
        DeleteServer(threads);
        PLUG_LOG(kErr, "Login ServerInit error");
        return -1;
    }
    LoginServer();
    WaitAttempt(wait_milliseconds);
    // A link error raised meanwhile stays: the session loop sees the loss at its next step.
    if (LoggedIn()) {
        PLUG_LOG(kInfo, "Login done");
        return 0;
    }
    PLUG_LOG(kErr, "login failed !");
    DeleteServer(threads);
    return -1;
}

void HeartbeatProc() {
    while (!LinkError()) {
        SendHeartbeat();
        SetAckSeen(false);
        WaitLinkError(std::int64_t{1000} * state.heartbeat_seconds);
    }
}

void CheckProc() {
    const LogAuthor author(__func__);
    while (!WaitLinkError(kCheckSeconds * 1000)) {
        if (AckSeen() || !HeartbeatAckOlderThan(kSilentIntervals * state.heartbeat_seconds)) continue;
        RaiseLinkError();
        PLUG_LOG(kErr, "heart beep error");
    }
}

}  // namespace

void ResetLinkState(LinkThreads& threads) {
    threads = {};
    ResetLinkRunning();
    ClearLinkError();
    SetLoggedIn(false);
    ForgetHeartbeatAck();
}

int RegistSendMsg() {
    const LogAuthor author(__func__);
    RequireIdentity();
    std::array<std::uint8_t, 3 + kPinBytes> head_bytes;
    ByteWriter head(head_bytes);
    head.Zeros(3);
    head.Copy(PinBytes());

    const std::string_view serial = RouterSerial();
    std::array<std::uint8_t, 128> plain;
    ByteWriter record(plain);
    record.Zeros(2);
    record.U8(static_cast<std::uint8_t>(serial.size()));
    record.Copy(AsBytes(serial));
    record.Copy(RouterMac());
    record.Zeros(32);
    PLUG_LOG(kDebug, "aes_crypt_ecb encode: ----len %zu---", PaddedSize(record.size()));
    return SendRecord(MsgType::kRegister, 1, head_bytes, record.written());
}

int RegisterStart(LinkThreads& threads, const char* server_ip) {
    const LogAuthor author(__func__);
    ForgetRegistration();
    LearnRouterIdentity();
    BeginAttempt();
    if (ServerInit(server_ip, PlatformSettings().port, threads) != 0) {
        DeleteServer(threads);
        return -1;
    }
    WriteStatus(Status::kRegistering);
    RegistSendMsg();
    WaitAttempt(10'000);
    const bool registered = Registered() && !LinkError();
    DeleteServer(threads);
    if (!registered) {
        WriteStatus(Status::kRegisterFailed);
        PLUG_LOG(kErr, "Register failed.");
        return -1;
    }
    PLUG_LOG(kDebug, "Register server1 success.");
    return 0;
}

int LoginStart(LinkThreads& threads) {
    const LogAuthor author(__func__);
    PLUG_LOG(kInfo, "quit regist,start login %s:%d", state.login_ip.data(), state.login_port);
    return Login(threads, 10'000, true);
}

int ReLogin(LinkThreads& threads) {
    const LogAuthor author(__func__);
    PLUG_LOG(kInfo, "Re-login %s:%d", state.login_ip.data(), state.login_port);
    return Login(threads, 5'000, false);
}

int LoginServer() {
    const LogAuthor author(__func__);
    if (LoggedIn()) return -1;
    PLUG_LOG(kDebug, "LoginServer command -----%s-----%s ", PlatformSettings().pin.data(),
             PlatformSettings().key.data());
    std::array<std::uint8_t, kPinBytes + sizeof state.token> head_bytes;
    ByteWriter head(head_bytes);
    head.Copy(PinBytes());
    head.Copy(state.token);
    return SendRecord(MsgType::kLogin, 1, head_bytes, kLoginRecord);
}

int RulesRequest() {
    const LogAuthor author(__func__);
    const MacAddress& mac = RouterMac();
    char mac_text[13];
    snprintf(mac_text, sizeof mac_text, "%02X%02X%02X%02X%02X%02X", mac[0], mac[1], mac[2], mac[3], mac[4],
             mac[5]);
    const JsonPtr request(cJSON_CreateObject());
    cJSON_AddStringToObject(request.get(), "MAC", mac_text);
    const JsonText printed(cJSON_Print(request.get()));
    if (!printed) return -1;
    std::array<char, 128> text;
    CopyText(text, printed.get());
    PLUG_LOG(kDebug, "Send to platform: \n%s", text.data());
    return SendIpUpData(AsBytes(text.data()), kRulesRequestType, nullptr);
}

int HeartbeatStart(LinkThreads& threads) {
    const LogAuthor author(__func__);
    if (const int error = threads.check.Start(CheckProc, "CheckProc"); error != 0) {
        PLUG_LOG(kErr, "Created check thread failed errno=%d", error);
        WriteStatus(Status::kStartFailed);
        PLUG_LOG(kErr, "exit");
        return -1;
    }
    Pace(10);
    RulesRequest();
    Pace(10);
    if (const int error = threads.heartbeat.Start(HeartbeatProc, "HeartbeatProc"); error != 0) {
        PLUG_LOG(kErr, "Created heartbeat thread failed errno=%d", error);
        WriteStatus(Status::kStartFailed);
        return -1;
    }
    return 0;
}

void DeleteHeartbear(LinkThreads& threads) {
    const LogAuthor author(__func__);
    RaiseLinkError();
    if (threads.check.Join() != 0) PLUG_LOG(kErr, "Stop check thread error...");
    if (threads.heartbeat.Join() != 0) PLUG_LOG(kErr, "Stop heartbeat thread error...");
}

void HandleAck(const InboundFrame& frame, ConstBytes plain) {
    if (!Registered()) {
        HandleRegisterAck(frame, plain);
    } else if (!LoggedIn()) {
        HandleLoginAck(frame, plain);
    }
}

}  // namespace plug
