// Commands about the Wi-Fi radios and their SSIDs.
#include "commands/handlers.h"
#include "core/log.h"
#include "router/sdk_records.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ProtoolSdk.c";

constexpr int kMostWlans = 8;
constexpr int kMostSsids = 16;  // of one WLAN

/// Copies one WLAN, its SSID count and records, from the SDK's buffer to the answer. False beyond a limit.
bool PutWlan(ByteReader& buffer, ByteWriter& out) {
    std::uint16_t ssids = 0;
    if (const ConstBytes count = buffer.Take(sizeof ssids); count.size() == sizeof ssids)
        memcpy(&ssids, count.data(), sizeof ssids);
    if (ssids > kMostSsids || buffer.rest().size() < ssids * sizeof(ssid_cfg)) {
        PLUG_LOG(kErr, "ssid num %d", ssids);
        return false;
    }
    out.U16(ssids);
    for (int i = 0; i < ssids; ++i) {
        ssid_cfg record{};
        memcpy(&record, buffer.Take(sizeof record).data(), sizeof record);
        PutRecord(out, record);
    }
    return true;
}

}  // namespace

void WlanList(ByteReader&, Answer& answer) {
    std::array<std::uint8_t, router_room_wlans_bytes> buffer{};
    int wlans = 0;
    if (const std::uint16_t code = SdkCode(get_wlans_cfg(buffer.data(), &wlans)); code != 0) {
        answer.Fail(code);
        return;
    }
    if (wlans < 0 || wlans > kMostWlans) {
        PLUG_LOG(kErr, "wlan num %d", wlans);
        answer.Fail(kLocalFailure);
        return;
    }
    answer.payload.U16(static_cast<std::uint16_t>(wlans));
    ByteReader reader(buffer);
    for (int i = 0; i < wlans; ++i) {
        if (!PutWlan(reader, answer.payload)) {
            answer.Fail(kLocalFailure);
            return;
        }
    }
}

void GetSsid(ByteReader& parameters, Answer& answer) {
    ssid_cfg record{};
    const std::uint16_t index = parameters.U16();
    PLUG_LOG(kDebug, "ssid index %d", index);
    answer.result = SdkCode(get_ssid_cfg(&record, index));
    PLUG_LOG(kDebug, "ssid channel %d", record.channel);
    PutRecord(answer.payload, record);
}

void SetSsid(ByteReader& parameters, Answer& answer) {
    const auto record = TakeRecord<ssid_cfg>(parameters);
    answer.result = SdkCode(set_ssid_cfg(&record));
}

}  // namespace plug
