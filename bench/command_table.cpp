#include "bench/command_table.h"

#include "router_records.h"

namespace plug::bench {
namespace {

using K = FieldKind;

// What commands take.
constexpr Field kWanIndex[] = {{"index", K::kU16, 0, "counted from 1", 1, router_room_wans}};
constexpr Field kSsidIndex[] = {{"index", K::kU16, 0, "counted from 1 over all radios", 1, 128}};
constexpr Field kOn[] = {{"on", K::kSwitch}};
constexpr Field kRadio[] = {{"value", K::kU8, 0, "the radio, counted from 1", 1, 4}};
constexpr Field kOneMac[] = {{"mac", K::kMac}};
constexpr Field kText[] = {{"text", K::kRest}};
constexpr Field kRouterName[] = {{"text", K::kRest, 0, "at most 31 characters"}};
constexpr Field kJson[] = {{"json", K::kCountedText, 0, "JSON of 2 to 1023 bytes"}};
constexpr Field kTarget[] = {{"address", K::kIp}};
constexpr Field kSsidSwitch[] = {kSsidIndex[0], {"on", K::kSwitch}};
constexpr Field kFullLoad[] = {{"index", K::kU16, 0, "as the router counts"}, {"on", K::kSwitch}};
constexpr Field kServices[] = {{"ftp", K::kSwitch}, {"samba", K::kSwitch}, {"telnet", K::kSwitch}};
constexpr Field kAccounts[] = {{"ftp_user", K::kText, 16},    {"ftp_password", K::kText, 16},
                               {"samba_user", K::kText, 16},  {"samba_password", K::kText, 16},
                               {"telnet_user", K::kText, 16}, {"telnet_password", K::kText, 16}};
constexpr Field kLimits[] = {{"mac", K::kMac},
                             {"up", K::kU64, 0, "in the router's unit, 0 is none"},
                             {"down", K::kU64, 0, "in the router's unit, 0 is none"}};
constexpr Field kLimitsRead[] = {{"up", K::kU64, 0, "in the router's unit, 0 is none"},
                                 {"down", K::kU64, 0, "in the router's unit, 0 is none"}};
constexpr Field kDeviceName[] = {{"mac", K::kMac}, {"name", K::kRest, 0, "at most 31 characters"}};
constexpr Field kDns[] = {{"first", K::kIp}, {"second", K::kIp}};
constexpr Field kPing[] = {{"address", K::kIp},
                           {"", K::kSkip, 16},
                           {"size", K::kU16, 0, "bytes"},
                           {"count", K::kU16, 0, "pings", 1, 50}};
constexpr Field kThreshold[] = {{"first", K::kU8}, {"second", K::kU8}};
constexpr Field kFirmwareOrder[] = {{"from_version", K::kText, 64}, {"to_version", K::kText, 64},
                                    {"url", K::kText, 256},         {"length", K::kU32, 0, "bytes"},
                                    {"check_method", K::kU32},      {"checksum", K::kText, 40}};
constexpr Field kTypedReport[] = {{"type", K::kU8}, {"data", K::kRest}};

// What answers hold.
constexpr Field kValue[] = {{"value", K::kU8}};
constexpr Field kBand[] = {{"value", K::kU8, 0, "the band's number", 0, 8}};
constexpr Field kCount[] = {{"count", K::kU16}};
constexpr Field kPercent[] = {{"percent", K::kU16, 0, "%", 0, 100}};
constexpr Field kConnections[] = {{"connections", K::kU32}};
constexpr Field kByteCount[] = {{"bytes", K::kU64, 0, "bytes"}};
constexpr Field kSeconds[] = {{"seconds", K::kU64, 0, "s"}};
constexpr Field kBandwidth[] = {{"up", K::kU64, 0, "in the router's unit"},
                                {"down", K::kU64, 0, "in the router's unit"}};
constexpr Field kFlowRates[] = {{"up", K::kU64, 0, "bytes/s"}, {"down", K::kU64, 0, "bytes/s"}};
constexpr Field kFixed[] = {{"", K::kSkip, 20}, {"value", K::kU8}};
constexpr Field kName[] = {{"name", K::kText, 32}};
constexpr Field kSpeeds[] = {
    {"speed0", K::kU16, 0, "Mbps"}, {"speed1", K::kU16, 0, "Mbps"}, {"speed2", K::kU16, 0, "Mbps"}};
constexpr Field kPin[] = {{"pin", K::kText, 12}};
constexpr Field kUnused[] = {{"", K::kSkip, 12}};
constexpr Field kLongText[] = {{"text", K::kCountedText}};
constexpr Field kThresholds[] = {{"first", K::kU32}, {"second", K::kU32}};
constexpr Field kTopology[] = {{"topology", K::kCountedRaw}};
constexpr Field kBssids[] = {{"bssids", K::kCountedRaw}};
constexpr Field kLocalTopology[] = {{"topology", K::kRest}};
constexpr Field kLocalBssids[] = {{"bssids", K::kRest}};
constexpr Field kLocalJson[] = {{"json", K::kRest}};
constexpr Field kRelayedJson[] = {{"json", K::kCountedRaw}};
constexpr Field kRelayedTyped[] = {{"length", K::kU16}, {"type", K::kU8}, {"data", K::kRest}};
constexpr Field kAdjacent[] = {{"record", K::kRaw, 77}};
constexpr Field kRate[] = {{"rate", K::kI32, 0, "bytes/s, -1 is failed"}};
constexpr Field kOnline[] = {{"mac", K::kMac}, {"name", K::kText, 32}, {"online", K::kSwitch}};

// The SDK's records, as the library's own description has them.
consteval FieldKind KindOf(const router_records::Field& field) {
    using router_records::Kind;
    switch (field.kind) {
        case Kind::kMac:
            return K::kMac;
        case Kind::kAddress:
            return K::kIp;
        case Kind::kDate:
            return K::kDate;
        case Kind::kText:
        case Kind::kFullText:
            return K::kText;
        case Kind::kReserved:
            return K::kSkip;
        case Kind::kFlag:
            return K::kSwitch;
        case Kind::kNumber:
            break;
    }
    return field.size == 1 ? K::kU8 : field.size == 2 ? K::kU16 : field.size == 4 ? K::kU32 : K::kU64;
}
consteval Field FieldOf(const router_records::Field& field) {
    const FieldKind kind = KindOf(field);
    const bool sized = kind == K::kText || kind == K::kSkip;
    return {field.name, kind, sized ? static_cast<std::uint16_t>(field.size) : std::uint16_t{0}, field.note};
}
template <class Record>
consteval auto LayoutOf() {
    constexpr auto& described = router_records::kFields<Record>;
    std::array<Field, described.size()> fields{};
    std::ranges::transform(described, fields.begin(), FieldOf);
    return fields;
}
constexpr auto kVersion = LayoutOf<router_version>();
constexpr auto kWan = LayoutOf<wan_cfg>();
constexpr auto kLan = LayoutOf<lan_cfg>();
constexpr auto kSsid = LayoutOf<ssid_cfg>();
constexpr auto kDevice = LayoutOf<dev_cfg>();
constexpr auto kNeighbour = LayoutOf<adj_wifi>();
constexpr Field kDeviceInformation[] = {{"mac", K::kMac},
                                        {"serial", K::kText, 64},
                                        {"vendor", K::kText, 64},
                                        {"model", K::kText, 64},
                                        {"cpu_model", K::kText, 32},
                                        {"cpu_cores", K::kU8},
                                        {"cpu_mhz", K::kU16, 0, "MHz"},
                                        {"memory_kind", K::kText, 24},
                                        {"memory_kib", K::kU32, 0, "KiB"},
                                        {"name", K::kText, 32},
                                        {"is_plug", K::kU8, 0, "1 is yes"},
                                        {"support_ipv6", K::kU8, 0, "1 is yes"}};
constexpr Field kAttached[] = {{"address", K::kIp}, {"mac", K::kMac},     {"name", K::kText, 16},
                               {"up", K::kU64},     {"down", K::kU64},    {"online", K::kU8},
                               {"allowed", K::kU8}, {"attribute", K::kU8}};

/// The same record as it is on the local socket.
template <std::size_t count>
consteval std::array<Field, count> InHostOrder(std::array<Field, count> fields) {
    for (Field& field : fields)
        if (field.kind == K::kIp) field.kind = K::kHostIp;
    return fields;
}
constexpr auto kLocalWan = InHostOrder(kWan);

constexpr AnswerLayout Record(Fields fields) {
    return {Shape::kRecord, fields};
}
constexpr AnswerLayout List(Fields fields) {
    return {Shape::kList, fields};
}
constexpr AnswerLayout kDone{};
constexpr AnswerLayout kNever{Shape::kNoAnswer};
constexpr Fields kNone{};

constexpr CommandForm kCommands[] = {
    {1, "router-version", "the router's firmware", "router", kNone, Record(kVersion)},
    {2, "device-information", "the router's make, processor and memory", "router", kNone,
     Record(kDeviceInformation)},
    {3, "wan-config", "one WAN", "wan", kWanIndex, Record(kWan)},
    {4, "wans", "all WANs", "wan", kNone, List(kWan)},
    {5, "wan-tcp-connections", "open TCP connections of a WAN", "wan", kWanIndex, Record(kConnections)},
    {6, "wan-udp-connections", "UDP connections of a WAN", "wan", kWanIndex, Record(kConnections)},
    {7, "wan-received", "bytes received on a WAN", "wan", kWanIndex, Record(kByteCount)},
    {8, "ping-start", "starts a ping; ping does it all", "diagnostics", kPing, kDone},
    {9, "ping-result", "the last ping's output", "diagnostics", kNone, Record(kLongText)},
    {10, "lan-config", "the LAN", "lan", kNone, Record(kLan)},
    {11, "lan-count", "number of LAN ports", "lan", kNone, Record(kCount)},
    {12, "lan-flows", "bytes through each LAN port", "lan", kNone, {Shape::kPorts}},
    {13, "ssids", "all SSIDs of all radios", "wifi", kNone, {Shape::kRadios, kSsid}},
    {14, "ssid-switch", "whether an SSID is on", "wifi", kSsidIndex, Record(kOn)},
    {15, "ssid-switch-set", "switches an SSID", "wifi", kSsidSwitch, kDone},
    {16, "ssid-config", "one SSID", "wifi", kSsidIndex, Record(kSsid)},
    {17, "ssid-config-set", "changes an SSID", "wifi", kSsid, kDone, 16},
    {18, "wifi-radio-switch", "whether the radio is on", "wifi", kNone, Record(kOn)},
    {19, "wifi-radio-switch-set", "switches the radio", "wifi", kOn, kDone},
    {20, "fixed-20", "a fixed answer", "no-effect", kNone, Record(kFixed)},
    {21, "accepted-21", "accepted without effect", "no-effect", kNone, kDone},
    {22, "led-switch", "whether the LEDs are on", "router", kNone, Record(kOn)},
    {23, "led-switch-set", "switches the LEDs", "router", kOn, kDone},
    {24, "fixed-24", "a fixed answer", "no-effect", kNone, Record(kFixed)},
    {25, "accepted-25", "accepted without effect", "no-effect", kNone, kDone},
    {26, "service-switches", "whether FTP, Samba and Telnet are on", "services", kNone, Record(kServices)},
    {27, "service-switches-set", "switches FTP, Samba and Telnet", "services", kServices, kDone},
    {28, "service-accounts", "users and passwords of FTP, Samba and Telnet", "services", kNone,
     Record(kAccounts)},
    {29, "service-accounts-set", "changes users and passwords", "services", kAccounts, kDone, 28},
    {30, "wps-switch", "whether WPS is on", "wifi", kNone, Record(kOn)},
    {31, "wps-switch-set", "switches WPS", "wifi", kOn, kDone},
    {32, "device-access-set", "allows or restricts a device", "home", kDevice, kDone, 38},
    {33, "device-bandwidth", "what a device uses now", "home", kOneMac, Record(kBandwidth)},
    {34, "device-limits", "a device's limits", "home", kOneMac, Record(kLimitsRead)},
    {35, "device-limits-set", "limits a device; 0 is no limit", "home", kLimits, kDone},
    {36, "device-name", "a device's name", "home", kOneMac, Record(kName)},
    {37, "device-name-set", "names a device", "home", kDeviceName, kDone},
    {38, "device-config", "one device", "home", kOneMac, Record(kDevice)},
    {39, "devices", "all devices", "home", kNone, List(kDevice)},
    {40, "unanswered-40", "accepted without an answer", "no-effect", kNone, kNever},
    {41, "device-speed", "a device's link speeds in Mbps", "home", kOneMac, Record(kSpeeds)},
    {42, "neighbours", "Wi-Fi networks nearby", "wifi", kNone, List(kNeighbour)},
    {43, "black-list", "devices on the black list", "home", kNone, List(kOneMac)},
    {44, "dns", "the DNS servers", "wan", kNone, Record(kDns)},
    {45, "dns-set", "changes the DNS servers", "wan", kDns, kDone},
    {46, "name-set", "names the router", "router", kRouterName, kDone},
    {47, "cpu-use", "processor use", "router", kNone, Record(kPercent)},
    {48, "memory-use", "memory use", "router", kNone, Record(kPercent)},
    {49, "link-states", "LAN ports, WANs and Wi-Fi modules", "lan", kNone, {Shape::kLinkStates}},
    {50, "full-load-set", "switches full load", "wan", kFullLoad, kDone},
    {51, "traceroute-start", "starts a traceroute; traceroute does it all", "diagnostics", kTarget, kDone},
    {52, "traceroute-result", "ends the traceroute and shows it", "diagnostics", kNone, Record(kLongText)},
    {53, "sync-time", "synchronises the clock", "router", kNone, kDone},
    {54, "uptime", "seconds since the router started", "router", kNone, Record(kSeconds)},
    {55, "restart", "restarts the router", "router", kNone, kDone},
    {56, "redirection-set", "sets the redirection", "router", kNone, kDone},
    {57, "firmware-update", "updates the firmware", "router", kNone, kDone},
    {58, "flow-rates", "bytes per second through the WANs", "wan", kNone, Record(kFlowRates)},
    {59, "test-url-set", "sets the HTTP test URL", "diagnostics", kNone, kDone},
    {60, "pin", "the router's PIN", "router", kNone, Record(kPin)},
    {61, "rate-start", "starts a rate test at the default server; rate does it all", "diagnostics", kNone,
     Record(kUnused)},
    {64, "scan-start", "starts a scan of the devices; scan does it all", "home", kNone, kDone},
    {66, "limits-set", "limits devices by a JSON list; limit writes it", "home", kText, kDone},
    {69, "windows-set", "sets access windows by a JSON list; window writes it", "home", kText, kDone},
    {70, "wifi-band", "a radio's frequency band", "wifi", kRadio, Record(kBand)},
    {71, "mesh-support", "whether mesh is supported", "mesh", kNone, Record(kValue)},
    {72, "mesh-switch-set", "switches mesh", "mesh", kOn, kDone},
    {73, "mesh-switch", "whether mesh is on", "mesh", kNone, Record(kOn)},
    {74, "mesh-roaming-set", "switches roaming", "mesh", kOn, kDone},
    {75, "mesh-roaming", "whether roaming is on", "mesh", kNone, Record(kOn)},
    {76, "mesh-threshold-set", "changes the roaming thresholds", "mesh", kThreshold, kDone},
    {77, "mesh-threshold", "the roaming thresholds", "mesh", kNone, Record(kThresholds)},
    {78, "mesh-topology", "the mesh's topology", "mesh", kNone, Record(kTopology)},
    {79, "adjacent-wifi", "networks nearby, by the local peer", "mesh", kNone, List(kAdjacent), 0, 65},
    {80, "bssids", "BSSIDs, by the local peer", "mesh", kNone, Record(kBssids)},
    {81, "unanswered-81", "accepted without an answer", "no-effect", kNone, kNever},
    {82, "wan-config-set", "changes a WAN", "wan", kWan, kDone, 3},
    {83, "optimize", "starts the one-key optimisation", "diagnostics", kNone, kDone},
    {84, "unanswered-84", "accepted without an answer", "no-effect", kNone, kNever},
    {85, "diagnose", "starts the fault diagnosis", "diagnostics", kNone, kDone},
    {86, "unanswered-86", "accepted without an answer", "no-effect", kNone, kNever},
    {87, "config-data", "configuration as JSON, such as the URL of a rate test", "diagnostics", kJson, kDone},
    {88, "auto-report-set", "configures automatic reports by JSON", "mesh", kJson, kDone},
};

constexpr ReportForm kReports[] = {
    {3, "update-progress"},
    {13, "rules-request"},
    {14, "version"},
    {17, "firmware-update"},
    {40, "online", true, List(kOnline)},
    {62, "rate", true, Record(kRate)},
    {63, "scan", true, List(kAttached), true},
    {81, "status", true, Record(kWan), true},
    {84, "json-84", true, Record(kRelayedJson), true},
    {86, "json-86", true, Record(kRelayedJson), true},
    {89, "auto-report", true, Record(kRelayedTyped), true},
};

constexpr CommandForm kLocalRequests[] = {
    {70, "wifi-band", "a radio's frequency band", "peer", kRadio, Record(kBand)},
    {71, "mesh-support", "whether mesh is supported", "peer", kNone, Record(kValue)},
    {72, "mesh-switch-set", "switches mesh", "peer", kOn, kDone},
    {73, "mesh-switch", "whether mesh is on", "peer", kNone, Record(kOn)},
    {74, "mesh-roaming-set", "switches roaming", "peer", kOn, kDone},
    {75, "mesh-roaming", "whether roaming is on", "peer", kNone, Record(kOn)},
    {76, "mesh-threshold-set", "changes the roaming thresholds", "peer", kThreshold, kDone},
    {77, "mesh-threshold", "the roaming thresholds", "peer", kNone, Record(kThreshold)},
    {78, "mesh-topology", "the mesh's topology", "peer", kNone, Record(kLocalTopology)},
    {79, "adjacent-wifi", "networks nearby", "peer", kNone, List(kAdjacent)},
    {80, "bssids", "BSSIDs", "peer", kNone, Record(kLocalBssids)},
    {82, "wan-config-set", "changes a WAN", "peer", kLocalWan, kDone},
    {83, "optimize", "starts the one-key optimisation", "peer", kNone, kDone},
    {85, "diagnose", "starts the fault diagnosis", "peer", kNone, kDone},
    {88, "auto-report-set", "configures automatic reports", "peer", kNone, kDone},
    {997, "auto-report-config", "the stored configuration", "peer", kNone, Record(kLocalJson)},
    {998, "plugin-state", "a notice of the agent's state", "peer", kNone, kNever},
    {999, "firmware-order", "orders a firmware update", "peer", kFirmwareOrder, kDone},
};

constexpr CommandForm kLocalReports[] = {
    {81, "status", "a status record", "peer", kLocalWan},
    {84, "json-84", "a JSON report", "peer", kLocalJson},
    {86, "json-86", "a JSON report", "peer", kLocalJson},
    {89, "auto-report", "an automatic report of type 1, 2 or 3", "peer", kTypedReport},
};

}  // namespace

std::span<const CommandForm> CommandForms() {
    return kCommands;
}

std::span<const ReportForm> ReportForms() {
    return kReports;
}

std::span<const CommandForm> LocalRequests() {
    return kLocalRequests;
}

std::span<const CommandForm> LocalReports() {
    return kLocalReports;
}

}  // namespace plug::bench
