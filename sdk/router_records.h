// What the SDK's records hold, field by field: the one description for all who convert, store or show them.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "router_sdk.h"

namespace router_records {

enum class Kind : std::uint8_t {
    kNumber,    // an unsigned integer of one to eight bytes, in host order
    kFlag,      // a byte: 0 is off, 1 is on
    kText,      // NUL-terminated within the field
    kFullText,  // may fill the field without a NUL
    kMac,
    kAddress,   // an IPv4 address as a host-order integer
    kDate,      // 20, 22, 12, 27 is 2022-12-27
    kReserved,  // bytes without a meaning
};

struct Field {
    const char* name;
    std::size_t offset;
    std::size_t size;
    Kind kind;
    const char* note = "";  // its unit, or what its values mean
};

/// The fields of a record type, in the order of their offsets. Other types have none.
template <class Record>
inline constexpr std::array<Field, 0> kFields{};

template <>
inline constexpr auto kFields<router_version> = std::to_array<Field>({
    {"version", offsetof(router_version, version), sizeof(router_version::version), Kind::kText},
    {"date", offsetof(router_version, date), sizeof(router_version::date), Kind::kDate},
});

template <>
inline constexpr auto kFields<cpu_cfg> = std::to_array<Field>({
    {"model", offsetof(cpu_cfg, model), sizeof(cpu_cfg::model), Kind::kText},
    {"cores", offsetof(cpu_cfg, cores), sizeof(cpu_cfg::cores), Kind::kNumber},
    {"clock_mhz", offsetof(cpu_cfg, clock), sizeof(cpu_cfg::clock), Kind::kNumber, "MHz"},
});

template <>
inline constexpr auto kFields<mem_cfg> = std::to_array<Field>({
    {"kind", offsetof(mem_cfg, kind), sizeof(mem_cfg::kind), Kind::kText},
    {"size_kib", offsetof(mem_cfg, size), sizeof(mem_cfg::size), Kind::kNumber, "KiB"},
});

template <>
inline constexpr auto kFields<wan_cfg> = std::to_array<Field>({
    {"index", offsetof(wan_cfg, index), sizeof(wan_cfg::index), Kind::kNumber, "counted from 1"},
    {"mode", offsetof(wan_cfg, mode), sizeof(wan_cfg::mode), Kind::kNumber},
    {"vlan", offsetof(wan_cfg, vlan), sizeof(wan_cfg::vlan), Kind::kNumber},
    {"service", offsetof(wan_cfg, service), sizeof(wan_cfg::service), Kind::kNumber},
    {"mac", offsetof(wan_cfg, mac), sizeof(wan_cfg::mac), Kind::kMac},
    {"name", offsetof(wan_cfg, name), sizeof(wan_cfg::name), Kind::kText},
    {"user", offsetof(wan_cfg, user), sizeof(wan_cfg::user), Kind::kText},
    {"password", offsetof(wan_cfg, password), sizeof(wan_cfg::password), Kind::kText},
    {"ipv6", offsetof(wan_cfg, ipv6), sizeof(wan_cfg::ipv6), Kind::kText},
    {"address", offsetof(wan_cfg, address), sizeof(wan_cfg::address), Kind::kAddress},
    {"netmask", offsetof(wan_cfg, netmask), sizeof(wan_cfg::netmask), Kind::kAddress},
    {"gateway", offsetof(wan_cfg, gateway), sizeof(wan_cfg::gateway), Kind::kAddress},
    {"dns1", offsetof(wan_cfg, dns1), sizeof(wan_cfg::dns1), Kind::kAddress},
    {"dns2", offsetof(wan_cfg, dns2), sizeof(wan_cfg::dns2), Kind::kAddress},
    {"mtu", offsetof(wan_cfg, mtu), sizeof(wan_cfg::mtu), Kind::kNumber, "bytes"},
    {"connected", offsetof(wan_cfg, state), sizeof(wan_cfg::state), Kind::kFlag},
});

template <>
inline constexpr auto kFields<lan_cfg> = std::to_array<Field>({
    {"address", offsetof(lan_cfg, address), sizeof(lan_cfg::address), Kind::kAddress},
    {"netmask", offsetof(lan_cfg, netmask), sizeof(lan_cfg::netmask), Kind::kAddress},
    {"mac", offsetof(lan_cfg, mac), sizeof(lan_cfg::mac), Kind::kMac},
});

template <>
inline constexpr auto kFields<ssid_cfg> = std::to_array<Field>({
    {"index", offsetof(ssid_cfg, index), sizeof(ssid_cfg::index), Kind::kNumber,
     "counted from 1 over all radios"},
    {"enabled", offsetof(ssid_cfg, enabled), sizeof(ssid_cfg::enabled), Kind::kFlag},
    {"band", offsetof(ssid_cfg, band), sizeof(ssid_cfg::band), Kind::kNumber, "1 is 2.4 GHz, 2 is 5 GHz"},
    {"channel", offsetof(ssid_cfg, channel), sizeof(ssid_cfg::channel), Kind::kNumber},
    {"hidden", offsetof(ssid_cfg, hidden), sizeof(ssid_cfg::hidden), Kind::kFlag},
    {"security", offsetof(ssid_cfg, security), sizeof(ssid_cfg::security), Kind::kNumber},
    {"bssid", offsetof(ssid_cfg, bssid), sizeof(ssid_cfg::bssid), Kind::kMac},
    {"max_stations", offsetof(ssid_cfg, max_stations), sizeof(ssid_cfg::max_stations), Kind::kNumber},
    {"ssid", offsetof(ssid_cfg, ssid), sizeof(ssid_cfg::ssid), Kind::kText},
    {"password", offsetof(ssid_cfg, password), sizeof(ssid_cfg::password), Kind::kText},
    {"width_mhz", offsetof(ssid_cfg, width), sizeof(ssid_cfg::width), Kind::kNumber, "MHz"},
    {"rate_kbit", offsetof(ssid_cfg, rate), sizeof(ssid_cfg::rate), Kind::kNumber, "kbit/s"},
});

template <>
inline constexpr auto kFields<dev_cfg> = std::to_array<Field>({
    {"mac", offsetof(dev_cfg, mac), sizeof(dev_cfg::mac), Kind::kMac},
    {"name", offsetof(dev_cfg, name), sizeof(dev_cfg::name), Kind::kText},
    {"link", offsetof(dev_cfg, link), sizeof(dev_cfg::link), Kind::kNumber, "0 is a cable, 1 is Wi-Fi"},
    {"band", offsetof(dev_cfg, band), sizeof(dev_cfg::band), Kind::kNumber, "1 is 2.4 GHz, 2 is 5 GHz"},
    {"by_name", offsetof(dev_cfg, by_name), sizeof(dev_cfg::by_name), Kind::kFlag, "access is ruled by name"},
    {"", offsetof(dev_cfg, reserved1), sizeof(dev_cfg::reserved1), Kind::kReserved},
    {"access", offsetof(dev_cfg, access), sizeof(dev_cfg::access), Kind::kFlag, "off is restricted"},
    {"", offsetof(dev_cfg, reserved2), sizeof(dev_cfg::reserved2), Kind::kReserved},
    {"rssi", offsetof(dev_cfg, rssi), sizeof(dev_cfg::rssi), Kind::kNumber},
    {"address", offsetof(dev_cfg, address), sizeof(dev_cfg::address), Kind::kAddress},
});

template <>
inline constexpr auto kFields<adj_wifi> = std::to_array<Field>({
    {"ssid", offsetof(adj_wifi, ssid), sizeof(adj_wifi::ssid), Kind::kText},
    {"channel", offsetof(adj_wifi, channel), sizeof(adj_wifi::channel), Kind::kNumber},
    {"bssid", offsetof(adj_wifi, bssid), sizeof(adj_wifi::bssid), Kind::kMac},
});

/// True when the fields follow one another without gap or overlap and make up the whole record.
template <class Record>
consteval bool Covered() {
    std::size_t end = 0;
    for (const Field& field : kFields<Record>) {
        if (field.offset != end) return false;
        end += field.size;
    }
    return end == sizeof(Record);
}
static_assert(Covered<router_version>() && Covered<cpu_cfg>() && Covered<mem_cfg>() && Covered<wan_cfg>() &&
              Covered<lan_cfg>() && Covered<ssid_cfg>() && Covered<dev_cfg>() && Covered<adj_wifi>());

}  // namespace router_records
