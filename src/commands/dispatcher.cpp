#include "commands/dispatcher.h"

#include "commands/handlers.h"
#include "commands/shapes.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ProtoolSdk.c";

constexpr std::size_t kEchoSize = 4;
constexpr std::size_t kResultSize = 6;  // echo and result
constexpr std::size_t kParametersAt = 10;
constexpr std::uint16_t kMutedFrom = 0x7FFE;  // IDs, counted from 0, that get no answer at all

/// An ID that no router answers.
constexpr CommandHandler kUnsupported = nullptr;

struct CommandRow {
    std::uint16_t id;
    CommandHandler handler;
};

constexpr auto kCommands = std::to_array<CommandRow>({
    {1, GetRecord<get_router_version>},
    {2, DeviceInformation},
    {3, GetRecord<get_wan_cfg>},
    {4, GetList<get_wans_cfg, router_room_wans>},
    {5, Get<get_wan_tcp_con_num>},
    {6, Get<get_wan_udp_con_num>},
    {7, Get<get_wan_receive_bytes>},
    {8, PingStart},
    {9, PingFetch},
    {10, GetRecord<get_lan_cfg>},
    {11, GetCount<get_lan_num>},
    {12, LanPortFlows},
    {13, WlanList},
    {14, Get<get_ssid_switch>},
    {15, Set<set_ssid_switch>},
    {16, GetSsid},
    {17, SetSsid},
    {18, Get<get_wifi_radio_switch>},
    {19, Set<set_wifi_radio_switch>},
    {20, FixedStatus},
    {21, Accept},
    {22, Get<get_led_switch>},
    {23, Set<set_led_switch>},
    {24, FixedStatus},
    {25, Accept},
    {26, GetServiceSwitches},
    {27, SetServiceSwitches},
    {28, GetServiceAccounts},
    {29, SetServiceAccounts},
    {30, Get<get_wps_switch>},
    {31, Set<set_wps_switch>},
    {32, SetAccess},
    {33, WithDevices<DeviceBandwidth>},
    {34, GetDeviceLimits},
    {35, SetDeviceLimits},
    {36, WithDevices<GetDeviceName>},
    {37, SetDeviceName},
    {38, GetDevice},
    {39, WithDevices<GetList<get_devs_cfg, router_room_devices>>},
    {40, AcceptSilently},
    {41, DeviceSpeeds},
    {42, GetList<get_adj_wifi_devs, router_room_neighbours>},
    {43, GetList<get_dev_black_list, router_room_black_list>},
    {44, GetDns},
    {45, SetDns},
    {46, SetRouterName},
    {47, Get<get_cpu_use>},
    {48, Get<get_mem_use>},
    {49, LinkStatus},
    {50, Set<set_full_load_enable>},
    {51, TracerouteStart},
    {52, TracerouteFetch},
    {53, Set<sync_time>},
    {54, Get<get_duration_time>},
    {55, Set<restart>},
    {56, Set<set_redirection>},
    {57, Set<update_rom_version>},
    {58, FlowRates},
    {59, Set<set_http_test_url>},
    {60, RouterPin},
    {61, RateTestStart},
    {62, kUnsupported},
    {63, kUnsupported},
    {64, ScanDevices},
    {65, kUnsupported},
    {66, SetBandwidthLimits},
    {67, kUnsupported},
    {68, kUnsupported},
    {69, SetAccessWindows},
    {70, GetWifiFreqband},
    {71, GetMeshSupport},
    {72, SetMeshSwitch},
    {73, GetMeshSwitch},
    {74, SetMeshRoamingSwitch},
    {75, GetMeshRoamingSwitch},
    {76, SetMeshRoamingThreshold},
    {77, GetMeshRoamingThreshold},
    {78, GetMeshTopology},
    {79, GetNeighbourWifi},
    {80, GetBssid},
    {81, AcceptSilently},
    {82, SetWan},
    {83, TriggerOneKeyOptimize},
    {84, AcceptSilently},
    {85, TriggerFaultDiagnosis},
    {86, AcceptSilently},
    {87, ConfigurationData},
    {88, SetAutoReport},
});

consteval bool InOrder() {
    for (std::size_t i = 0; i < kCommands.size(); ++i) {
        if (kCommands[i].id != i + 1) return false;
    }
    return kCommands.size() == 88;
}
static_assert(InOrder(), "a command's row is found by its ID");

CommandHandler FindHandler(std::uint16_t id) {
    return id >= 1 && id <= kCommands.size() ? kCommands[id - 1U].handler : kUnsupported;
}

/// Writes echo and result; the payload, if any, is in place behind them.
std::size_t FinishAnswer(ConstBytes command, Bytes answer, std::uint16_t result, std::size_t payload_size) {
    ByteWriter head(answer);
    head.Copy(command.first(kEchoSize));
    head.U16(result);
    return kResultSize + payload_size;
}

}  // namespace

int ParserProtoolData(ConstBytes command, Bytes answer, std::size_t& length) {
    const LogAuthor author(__func__);
    // Behind a short command its missing parameters read as zeros, and every text ends.
    std::array<std::uint8_t, 8192> filled{};
    ByteReader(command).Copy(Bytes(filled).first(filled.size() - 1));
    ByteReader parameters(filled);
    parameters.Skip(2);
    const std::uint16_t id = parameters.U16();
    PLUG_LOG(kDebug, "ParserProtoolData funcid %d", id);
    answer[0] = 0;
    length = 0;

    const CommandHandler handler = FindHandler(id);
    if (handler == nullptr) {
        PLUG_LOG(kErr, "unsupported funcid %d", id);
        const bool muted = static_cast<std::uint16_t>(id - 1) >= kMutedFrom;
        if (!muted) length = FinishAnswer(filled, answer, kUnsupportedCommand, 0);
        return -1;
    }
    parameters.Skip(kParametersAt - 4);
    Answer filling(answer.subspan(kResultSize));
    handler(parameters, filling);
    if (!filling.payload.ok()) {
        PLUG_LOG(kErr, "answer of funcid %d does not fit", id);
        filling.Fail(kLocalFailure);
    }
    if (!filling.silent()) length = FinishAnswer(filled, answer, filling.result, filling.payload.size());
    return 0;
}

}  // namespace plug
