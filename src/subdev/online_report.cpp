#include "subdev/online_report.h"

#include <atomic>
#include <cstdio>

#include "core/log.h"
#include "platform/identity.h"
#include "platform/uplink.h"

namespace plug {
namespace {

constexpr std::uint8_t kReportType = 40;
constexpr std::size_t kNameSize = 32;

struct OnlineReportState {
    std::atomic<bool> on{true};
    std::atomic<int> round_limit{30};
};
constinit OnlineReportState state;

}  // namespace

void SetOnlineReport(bool on) {
    state.on = on;
}

void SetOnlineReport(bool on, int round_limit) {
    state.round_limit = round_limit;
    state.on = on;
}

bool OnlineReportOn() {
    return state.on;
}

int OnlineRoundLimit() {
    return state.round_limit;
}

OnlineReport SendOnlineReport(const MacAddress& mac, std::string_view name) {
    OnlineReport bytes;
    ByteWriter report(bytes);
    report.U16(0);
    report.U16(kReportType);
    report.U16(0);
    report.U16(1);  // one device
    report.Copy(mac);
    report.Text(name, kNameSize);
    report.U8(1);  // online
    if (state.on) SendIpUpData(report.written(), kReportType, &RouterMac());
    return bytes;
}

void PrintOnlineReport(const OnlineReport& report) {
    if (!DebugMode()) return;
    std::array<char, sizeof(OnlineReport) * 3> room;
    const std::string_view text = HexPairs(report, room);
    fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data());
}

}  // namespace plug
