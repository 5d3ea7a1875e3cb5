#include "commserver/comm_dispatch.h"

#include "commserver/auto_report.h"
#include "commserver/auto_report_config.h"
#include "commserver/comm_frame.h"
#include "commserver/comm_reply.h"
#include "commserver/comm_request.h"
#include "commserver/comm_send.h"
#include "core/log.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "CommServer.c";

constexpr std::size_t kShortestFrame = 15;  // a frame without a payload is not accepted
constexpr std::size_t kLongestFrame = 8100;

struct DispatchState {
    void (*device_list)(ConstBytes payload) = nullptr;  // set once at start-up
    std::uint32_t last_sequence = 0;                    // dispatcher thread
};
constinit DispatchState state;

void LogRequest(ConstBytes, std::uint16_t func_id) {
    PLUG_LOG(kDebug, "%s", CommandName(func_id));
}

void DeviceList(ConstBytes payload, std::uint16_t) {
    state.device_list(payload);
}

void PluginStateRequest(ConstBytes payload, std::uint16_t) {
    if (!payload.empty() && payload[0] == 'i') {
        SendPluginState();
    } else {
        PLUG_LOG(kDebug, "Old plugin no plugin state notice.");
    }
}

/// A handler that needs the payload only.
template <void (*handle)(ConstBytes)>
void Of(ConstBytes payload, std::uint16_t) {
    handle(payload);
}

struct DispatchRow {
    std::uint16_t first;  // FuncIDs first to last
    std::uint16_t last;
    void (*handle)(ConstBytes payload, std::uint16_t func_id);
};

constexpr DispatchRow kHandlers[] = {
    {1, 5, LogRequest},
    {40, 40, DeviceList},
    {70, 80, Of<CommFuncRecv>},
    {81, 81, Of<CommAutoReport>},
    {82, 83, Of<CommFuncRecv>},
    {84, 84, CommAutoJsonReport},
    {85, 85, Of<CommFuncRecv>},
    {86, 86, CommAutoJsonReport},
    {88, 88, Of<CommFuncRecv>},
    {89, 89, Of<CommAutoReport89>},
    {997, 997, Of<Comm_get_88Conf>},
    {998, 998, PluginStateRequest},
    {999, 999, Of<CommFwUpdateResult>},
};

const DispatchRow* FindRow(std::uint16_t func_id) {
    for (const DispatchRow& row : kHandlers) {
        if (func_id >= row.first && func_id <= row.last) return &row;
    }
    return nullptr;
}

}  // namespace

void SetDeviceListHandler(void (*handler)(ConstBytes payload)) {
    state.device_list = handler;
}

void ResetDispatch() {
    state.last_sequence = 0;
}

void HandleLocalFrame(ConstBytes received) {
    if (received.size() < kShortestFrame || received.size() > kLongestFrame) {
        PLUG_LOG(kErr, "Receive length error, length is %zu", received.size());
        return;
    }
    const LocalHeader header = ReadLocalHeader(received);
    if (header.head != kLocalHead) {
        PLUG_LOG(kErr, "Receive head error.");
        return;
    }
    if (header.sequence == state.last_sequence) {
        PLUG_LOG(kErr, "Receive  sequence error.");
        return;
    }
    state.last_sequence = header.sequence;
    const auto payload = CheckedPayload(header, received);
    if (!payload) {
        PLUG_LOG(kErr, "Receive  checkSum error.");
        return;
    }
    const DispatchRow* const row = FindRow(header.func_id);
    if (row == nullptr) {
        PLUG_LOG(kErr, "Error funcID");
        return;
    }
    row->handle(*payload, header.func_id);
    SetReplyReady();
}

}  // namespace plug
