#include "functions.h"

#include <bit>

namespace sdk_check {
namespace {

static_assert(std::endian::native == std::endian::little, "the SDK's integers are little-endian");

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
using A = Arguments;

template <class T>
T* Out(const A& a) {
    return static_cast<T*>(a.out);
}

template <class T>
T In(const A& a, std::size_t offset = 0) {
    T value;
    memcpy(&value, static_cast<const char*>(a.in) + offset, sizeof value);
    return value;
}

int Keep(const A& a, U16 value) {
    memcpy(a.out, &value, sizeof value);
    return 0;
}

// One adapter for each signature that the header has.
template <class Signature>
struct Adapt;
template <>
struct Adapt<int()> {
    static int Call(int (*f)(), const A&) { return f(); }
};
template <>
struct Adapt<U16()> {
    static int Call(U16 (*f)(), const A& a) { return Keep(a, f()); }
};
template <>
struct Adapt<U16(const U8*, int)> {
    static int Call(U16 (*f)(const U8*, int), const A& a) { return Keep(a, f(a.mac, a.which)); }
};
template <class T>
struct Adapt<int(T*)> {
    static int Call(int (*f)(T*), const A& a) { return f(Out<T>(a)); }
};
template <class T>
struct Adapt<int(T*, int*)> {
    static int Call(int (*f)(T*, int*), const A& a) { return f(Out<T>(a), static_cast<int*>(a.second)); }
};
template <>
struct Adapt<int(U32*, U32*)> {
    static int Call(int (*f)(U32*, U32*), const A& a) { return f(Out<U32>(a), static_cast<U32*>(a.second)); }
};
template <class T>
struct Adapt<int(U16, T*)> {
    static int Call(int (*f)(U16, T*), const A& a) { return f(a.index, Out<T>(a)); }
};
template <class T>
struct Adapt<int(T*, U16)> {
    static int Call(int (*f)(T*, U16), const A& a) { return f(Out<T>(a), a.index); }
};
template <class T>
struct Adapt<int(const U8*, T*)> {
    static int Call(int (*f)(const U8*, T*), const A& a) { return f(a.mac, Out<T>(a)); }
};
template <class T>
struct Adapt<int(T*, const U8*)> {
    static int Call(int (*f)(T*, const U8*), const A& a) { return f(Out<T>(a), a.mac); }
};
template <>
struct Adapt<int(U8)> {
    static int Call(int (*f)(U8), const A& a) { return f(In<U8>(a)); }
};
template <>
struct Adapt<int(U16, U8)> {
    static int Call(int (*f)(U16, U8), const A& a) { return f(a.index, In<U8>(a)); }
};
template <>
struct Adapt<int(U32, U32)> {
    static int Call(int (*f)(U32, U32), const A& a) { return f(In<U32>(a), In<U32>(a, sizeof(U32))); }
};
template <>
struct Adapt<int(const U8*, U64)> {
    static int Call(int (*f)(const U8*, U64), const A& a) { return f(a.mac, In<U64>(a)); }
};
template <>
struct Adapt<int(const U8*, const char*)> {
    static int Call(int (*f)(const U8*, const char*), const A& a) {
        return f(a.mac, static_cast<const char*>(a.in));
    }
};
template <class T>
struct Adapt<int(const T*)> {
    static int Call(int (*f)(const T*), const A& a) { return f(static_cast<const T*>(a.in)); }
};

/// The adapter of a function that the header declares.
template <class Signature>
int As(void* function, const A& arguments) {
    return Adapt<Signature>::Call(reinterpret_cast<Signature*>(function), arguments);
}

// The single values.
constexpr Field kMac[] = {{"mac", 0, 6, Kind::kMac}};
constexpr Field kSerial[] = {{"serial", 0, 64, Kind::kText}};
constexpr Field kVendor[] = {{"vendor", 0, 64, Kind::kText}};
constexpr Field kModel[] = {{"model", 0, 64, Kind::kText}};
constexpr Field kPin[] = {{"pin", 0, 12, Kind::kFullText}};
constexpr Field kName[] = {{"name", 0, 32, Kind::kText}};
constexpr Field kUser[] = {{"user", 0, 16, Kind::kText}};
constexpr Field kPassword[] = {{"password", 0, 16, Kind::kText}};
constexpr Field kIsPlug[] = {{"is_plug", 0, 1, Kind::kFlag}};
constexpr Field kIpv6[] = {{"support_ipv6", 0, 1, Kind::kFlag}};
constexpr Field kSwitch[] = {{"switch", 0, 1, Kind::kFlag}};
constexpr Field kStatus[] = {{"status", 0, 1, Kind::kFlag}};
constexpr Field kConnected[] = {{"connected", 0, 1, Kind::kFlag}};
constexpr Field kCount[] = {{"count", 0, 2, Kind::kNumber}};
constexpr Field kPercent[] = {{"percent", 0, 2, Kind::kNumber}};
constexpr Field kMbps[] = {{"mbps", 0, 2, Kind::kNumber}};
constexpr Field kConnections[] = {{"connections", 0, 4, Kind::kNumber}};
constexpr Field kSeconds[] = {{"seconds", 0, 8, Kind::kNumber}};
constexpr Field kTraffic[] = {{"bytes", 0, 8, Kind::kNumber}};
constexpr Field kRate[] = {{"bytes_per_second", 0, 8, Kind::kNumber}};
constexpr Field kBandwidth[] = {{"bandwidth", 0, 8, Kind::kNumber}};
constexpr Field kLimit[] = {{"limit", 0, 8, Kind::kNumber}};
constexpr Field kDns[] = {{"first", 0, 4, Kind::kAddress}, {"second", 4, 4, Kind::kAddress}};

template <class Record>
constexpr std::span<const Field> kRecord{router_records::kFields<Record>};

template <class Signature>
constexpr Function Get(const char* name, std::span<const Field> fields, Key key = Key::kNone) {
    return {.name = name, .adapter = As<Signature>, .role = Role::kGet, .fields = fields, .key = key};
}
/// A getter whose text `filled` must not be empty.
template <class Signature>
constexpr Function Named(const char* name, std::span<const Field> fields, const char* filled,
                         Key key = Key::kNone) {
    Function function = Get<Signature>(name, fields, key);
    function.filled = filled;
    return function;
}
template <class Signature>
constexpr Function List(const char* name, std::span<const Field> fields, std::size_t room) {
    return {.name = name,
            .adapter = As<Signature>,
            .role = Role::kList,
            .fields = fields,
            .room = room,
            .second = sizeof(int)};
}
template <class Signature>
constexpr Function Set(const char* name, const char* reads, Key key = Key::kNone,
                       Kind compared = Kind::kReserved) {
    return {.name = name,
            .adapter = As<Signature>,
            .role = Role::kSet,
            .key = key,
            .reads = reads,
            .compared = compared};
}
template <class Signature>
constexpr Function Act(const char* name) {
    return {.name = name, .adapter = As<Signature>};
}

constexpr Function kFunctions[] = {
    Named<decltype(get_router_version)>("get_router_version", kRecord<router_version>, "version"),
    Get<decltype(get_router_mac)>("get_router_mac", kMac),
    Named<decltype(get_router_sn)>("get_router_sn", kSerial, "serial"),
    Named<decltype(get_router_vender)>("get_router_vender", kVendor, "vendor"),
    Named<decltype(get_router_model)>("get_router_model", kModel, "model"),
    Named<decltype(get_router_pin)>("get_router_pin", kPin, "pin"),
    Get<decltype(get_router_is_plug)>("get_router_is_plug", kIsPlug),
    Get<decltype(get_router_support_ipv6)>("get_router_support_ipv6", kIpv6),
    Named<decltype(get_cpu_cfg)>("get_cpu_cfg", kRecord<cpu_cfg>, "model"),
    Named<decltype(get_mem_cfg)>("get_mem_cfg", kRecord<mem_cfg>, "kind"),
    Get<decltype(get_cpu_use)>("get_cpu_use", kPercent),
    Get<decltype(get_mem_use)>("get_mem_use", kPercent),
    Named<decltype(get_name)>("get_name", kName, "name"),
    Get<decltype(get_duration_time)>("get_duration_time", kSeconds),

    Get<decltype(get_wan_num)>("get_wan_num", kCount),
    List<decltype(get_wans_cfg)>("get_wans_cfg", kRecord<wan_cfg>, router_room_wans),
    Get<decltype(get_wan_cfg)>("get_wan_cfg", kRecord<wan_cfg>, Key::kWan),
    Get<decltype(get_wan_tcp_con_num)>("get_wan_tcp_con_num", kConnections, Key::kWan),
    Get<decltype(get_wan_udp_con_num)>("get_wan_udp_con_num", kConnections, Key::kWan),
    Get<decltype(get_wan_receive_bytes)>("get_wan_receive_bytes", kTraffic, Key::kWan),
    Get<decltype(get_wan_con_status)>("get_wan_con_status", kConnected, Key::kWan),
    {.name = "get_dns",
     .adapter = As<decltype(get_dns)>,
     .role = Role::kGet,
     .fields = kDns,
     .second = sizeof(U32)},
    Get<decltype(get_flows_up_rate)>("get_flows_up_rate", kRate),
    Get<decltype(get_flows_down_rate)>("get_flows_down_rate", kRate),

    Get<decltype(get_lan_num)>("get_lan_num", kCount),
    Get<decltype(get_lan_cfg)>("get_lan_cfg", kRecord<lan_cfg>),
    Get<decltype(get_lan_con_status)>("get_lan_con_status", kConnected, Key::kPort),
    Get<decltype(get_lan_port_up_flow)>("get_lan_port_up_flow", kTraffic, Key::kPort),
    Get<decltype(get_lan_port_down_flow)>("get_lan_port_down_flow", kTraffic, Key::kPort),

    {.name = "get_wlans_cfg",
     .adapter = As<decltype(get_wlans_cfg)>,
     .role = Role::kWlans,
     .fields = kRecord<ssid_cfg>,
     .second = sizeof(int),
     .filled = "ssid"},
    Named<decltype(get_ssid_cfg)>("get_ssid_cfg", kRecord<ssid_cfg>, "ssid", Key::kSsid),
    Get<decltype(get_ssid_switch)>("get_ssid_switch", kSwitch, Key::kSsid),
    Get<decltype(get_wifi_module_status)>("get_wifi_module_status", kStatus, Key::kModule),
    List<decltype(get_adj_wifi_devs)>("get_adj_wifi_devs", kRecord<adj_wifi>, router_room_neighbours),

    Get<decltype(get_wifi_radio_switch)>("get_wifi_radio_switch", kSwitch),
    Get<decltype(get_led_switch)>("get_led_switch", kSwitch),
    Get<decltype(get_wps_switch)>("get_wps_switch", kSwitch),
    Get<decltype(get_ftp_switch)>("get_ftp_switch", kSwitch),
    Get<decltype(get_sambaenable_switch)>("get_sambaenable_switch", kSwitch),
    Get<decltype(get_telnetenable_switch)>("get_telnetenable_switch", kSwitch),

    Get<decltype(get_ftp_user)>("get_ftp_user", kUser),
    Get<decltype(get_ftp_password)>("get_ftp_password", kPassword),
    Get<decltype(get_samba_user)>("get_samba_user", kUser),
    Get<decltype(get_samba_password)>("get_samba_password", kPassword),
    Get<decltype(get_telnet_user)>("get_telnet_user", kUser),
    Get<decltype(get_telnet_password)>("get_telnet_password", kPassword),

    List<decltype(get_devs_cfg)>("get_devs_cfg", kRecord<dev_cfg>, router_room_devices),
    Get<decltype(get_dev_cfg)>("get_dev_cfg", kRecord<dev_cfg>, Key::kDevice),
    Get<decltype(get_dev_name)>("get_dev_name", kName, Key::kDevice),
    Get<decltype(get_dev_us_bw)>("get_dev_us_bw", kBandwidth, Key::kDevice),
    Get<decltype(get_dev_ds_bw)>("get_dev_ds_bw", kBandwidth, Key::kDevice),
    Get<decltype(get_dev_us_max_bw)>("get_dev_us_max_bw", kLimit, Key::kDevice),
    Get<decltype(get_dev_ds_max_bw)>("get_dev_ds_max_bw", kLimit, Key::kDevice),
    Get<decltype(get_dev_speed)>("get_dev_speed", kMbps, Key::kSpeed),
    List<decltype(get_dev_black_list)>("get_dev_black_list", kMac, router_room_black_list),

    Set<decltype(set_name)>("set_name", "get_name"),
    Set<decltype(set_dns)>("set_dns", "get_dns"),
    Set<decltype(set_ssid_switch)>("set_ssid_switch", "get_ssid_switch", Key::kSsid),
    Set<decltype(set_ssid_cfg)>("set_ssid_cfg", "get_ssid_cfg", Key::kSsid),
    Set<decltype(set_wifi_radio_switch)>("set_wifi_radio_switch", "get_wifi_radio_switch"),
    Set<decltype(set_led_switch)>("set_led_switch", "get_led_switch"),
    Set<decltype(set_wps_switch)>("set_wps_switch", "get_wps_switch"),
    Set<decltype(set_ftp_switch)>("set_ftp_switch", "get_ftp_switch"),
    Set<decltype(set_sambaenable_switch)>("set_sambaenable_switch", "get_sambaenable_switch"),
    Set<decltype(set_telnetenable_switch)>("set_telnetenable_switch", "get_telnetenable_switch"),
    Set<decltype(set_ftp_user)>("set_ftp_user", "get_ftp_user"),
    Set<decltype(set_ftp_password)>("set_ftp_password", "get_ftp_password"),
    Set<decltype(set_samba_user)>("set_samba_user", "get_samba_user"),
    Set<decltype(set_samba_password)>("set_samba_password", "get_samba_password"),
    Set<decltype(set_telnet_user)>("set_telnet_user", "get_telnet_user"),
    Set<decltype(set_telnet_password)>("set_telnet_password", "get_telnet_password"),
    Set<decltype(set_dev_name)>("set_dev_name", "get_dev_name", Key::kDevice),
    Set<decltype(set_dev_us_max_bw)>("set_dev_us_max_bw", "get_dev_us_max_bw", Key::kDevice),
    Set<decltype(set_dev_ds_max_bw)>("set_dev_ds_max_bw", "get_dev_ds_max_bw", Key::kDevice),
    Set<decltype(set_dev_access_control)>("set_dev_access_control", "get_dev_cfg", Key::kDevice, Kind::kFlag),

    Act<decltype(set_full_load_enable)>("set_full_load_enable"),
    Act<decltype(sync_time)>("sync_time"),
    Act<decltype(restart)>("restart"),
    Act<decltype(set_redirection)>("set_redirection"),
    Act<decltype(update_rom_version)>("update_rom_version"),
    Act<decltype(set_http_test_url)>("set_http_test_url"),
};

}  // namespace

std::span<const Function> Functions() {
    return kFunctions;
}

const Function& Find(const char* name) {
    for (const Function& function : kFunctions) {
        if (strcmp(function.name, name) == 0) return function;
    }
    return kFunctions[0];  // not reached: the table names its own functions only
}

}  // namespace sdk_check
