#include "commserver/comm_send.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>

#include "commserver/comm_frame.h"
#include "core/log.h"
#include "core/sync.h"
#include "core/version.h"
#include "platform/link_state.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "CommServer.c";

constexpr std::uint16_t kHighestFuncId = 1000;
constexpr int kNoPeer = 0;

struct SendState {
    Mutex mutex;  // the send mutex: held while a frame is built and sent, and while the peer changes
    int peer PLUG_CHECKED(guarded_by(mutex)) = kNoPeer;
    std::uint32_t sequence PLUG_CHECKED(guarded_by(mutex)) = 0;  // of the last frame
};
constinit SendState state;

enum class Payload : std::uint8_t { kNone, kTwoBytes, kData, kInquiry, kPluginState, kRefused };

struct LocalCommand {
    std::uint16_t id;
    Payload payload;
    const char* log;
};

constexpr LocalCommand kCommands[] = {
    {1, Payload::kNone, "comm_get_version"},
    {2, Payload::kNone, "comm_get_base_info"},
    {3, Payload::kNone, "comm_get_wan_cfg"},
    {4, Payload::kNone, "comm_get_wans_cfg"},
    {5, Payload::kTwoBytes, "comm_get_wan_tcp_con_num"},
    {40, Payload::kRefused, "Error comm_subdev_report"},
    {70, Payload::kData, "get freqband"},
    {71, Payload::kInquiry, "get mesh support"},
    {72, Payload::kData, "set mesh switch"},
    {73, Payload::kInquiry, "get mesh switch"},
    {74, Payload::kData, "set mesh roaming switch"},
    {75, Payload::kInquiry, "get mesh roaming switch"},
    {76, Payload::kData, "set mesh roaming threshold"},
    {77, Payload::kInquiry, "get mesh roaming threshold"},
    {78, Payload::kInquiry, "get mesh topology"},
    {79, Payload::kInquiry, "get adj wifi info"},
    {80, Payload::kInquiry, "get bssid"},
    {82, Payload::kData, "set wan configure"},
    {83, Payload::kInquiry, "trigger one key optimize"},
    {85, Payload::kInquiry, "trigger fault diagnosis"},
    {88, Payload::kData, "set auto report"},
    {997, Payload::kInquiry, "get autoreport conf"},
    {998, Payload::kPluginState, "send plugin state"},
    {999, Payload::kData, "Firmware update"},
};

const LocalCommand* FindRow(std::uint16_t func_id) {
    const auto* const row = std::ranges::find(kCommands, func_id, &LocalCommand::id);
    return row != std::end(kCommands) ? row : nullptr;
}

ConstBytes PluginState(std::span<char> text) {
    const int length = snprintf(text.data(), text.size(), "{\"pluginState\":\"%s\",\"pluginVersion\":\"%s\"}",
                                LoggedIn() ? "online" : "offline", kDatedVersion);
    return AsBytes({text.data(), static_cast<std::size_t>(length)});
}

/// The payload of a command; `scratch` may hold it.
ConstBytes PayloadOf(const LocalCommand& row, ConstBytes data, std::span<char> scratch) {
    switch (row.payload) {
        case Payload::kTwoBytes:
            return data.first(std::min<std::size_t>(data.size(), 2));
        case Payload::kData:
            return data;
        case Payload::kInquiry:
            return AsBytes("i");
        case Payload::kPluginState:
            return PluginState(scratch);
        case Payload::kNone:
        case Payload::kRefused:
            break;
    }
    return {};
}

/// The number of bytes that went out, or -1.
ssize_t CommServerSend(ConstBytes frame) PLUG_CHECKED(requires_capability(state.mutex)) {
    const LogAuthor author(__func__);
    if (state.peer == kNoPeer) return -1;
    const ssize_t sent = send(state.peer, frame.data(), frame.size(), MSG_NOSIGNAL);
    if (sent < 0) {
        PLUG_LOG(kErr, "please reconnect server");
        return -1;
    }
    if (sent == 0) {
        PLUG_LOG(kErr, "send count is 0");
    } else {
        PLUG_LOG(kDebug, "send success");
    }
    return sent;
}

}  // namespace

void ResetCommSend() {
    const Guard guard(state.mutex);
    state.peer = kNoPeer;
    state.sequence = 0;
}

void SetLocalPeer(int socket) {
    const Guard guard(state.mutex);
    state.peer = socket;
}

void CloseLocalPeer() {
    const Guard guard(state.mutex);
    close(state.peer);
    state.peer = kNoPeer;
}

const char* CommandName(std::uint16_t func_id) {
    const LocalCommand* const row = FindRow(func_id);
    return row != nullptr ? row->log : nullptr;
}

int CommSendCmd(std::uint16_t func_id, ConstBytes data) {
    const LogAuthor author(__func__);
    const Guard guard(state.mutex);
    if (func_id < 1 || func_id > kHighestFuncId) {
        PLUG_LOG(kErr, "Function CMD error.");
        return -1;
    }
    ++state.sequence;
    const LocalCommand* const row = FindRow(func_id);
    if (row == nullptr || row->payload == Payload::kRefused) {
        PLUG_LOG(kErr, "%s", row != nullptr ? row->log : "funcCMD error");
        return -1;
    }
    PLUG_LOG(kDebug, "%s", row->log);
    std::array<char, 500> scratch;
    std::array<std::uint8_t, sizeof(LocalHeader) + kMaxLocalPayload> frame;
    const std::size_t size = WriteLocalFrame(frame, func_id, state.sequence, PayloadOf(*row, data, scratch));
    if (size == 0) {
        PLUG_LOG(kErr, "payload of %zu bytes refused, at most %zu fit", data.size(), kMaxLocalPayload);
        return -1;
    }
    return CommServerSend(ConstBytes(frame).first(size)) > 0 ? 0 : -1;
}

}  // namespace plug
