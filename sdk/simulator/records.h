// The SDK's records and single values as JSON, in both directions.
//
// A record is described by its fields, {JSON key, offset, size, kind}; loading and storing walk the same
// table. A key that is missing or null reads as zeros; a text longer than its field is cut; any other value
// that does not fit is an error.
#pragma once

#include <cjson/cJSON.h>
#include <router_sdk.h>

#include <span>
#include <string>

namespace simulator {

enum class Kind : std::uint8_t {
    kNumber,    // a number, or decimal digits as text where a JSON number loses precision (from 2^53 on)
    kFlag,      // true or false; any other byte as a number
    kText,      // NUL-terminated within the field
    kFullText,  // may fill the field without a NUL
    kMac,       // "AA:BB:CC:DD:EE:FF"
    kAddress,   // "192.168.1.20"
    kDate,      // "2022-12-27"
    kReserved,  // bytes without a meaning, not in the file
};

struct Field {
    const char* key;
    std::size_t offset;
    std::size_t size;
    Kind kind;
};

// True when the fields follow one another without gap or overlap and make up the whole record.
consteval bool Covers(std::span<const Field> fields, std::size_t record_size) {
    std::size_t end = 0;
    for (const Field& field : fields) {
        if (field.offset != end) return false;
        end += field.size;
    }
    return end == record_size;
}

inline constexpr Field kVersionFields[] = {
    {"version", 0, 60, Kind::kText},
    {"date", 60, 4, Kind::kDate},
};
inline constexpr Field kCpuFields[] = {
    {"model", 0, 32, Kind::kText},
    {"cores", 32, 1, Kind::kNumber},
    {"clock_mhz", 33, 2, Kind::kNumber},
};
inline constexpr Field kMemoryFields[] = {
    {"kind", 0, 24, Kind::kText},
    {"size_kib", 24, 4, Kind::kNumber},
};
inline constexpr Field kWanFields[] = {
    {"index", 0, 2, Kind::kNumber},      {"mode", 2, 1, Kind::kNumber},
    {"vlan", 3, 2, Kind::kNumber},       {"service", 5, 2, Kind::kNumber},
    {"mac", 7, 6, Kind::kMac},           {"name", 13, 32, Kind::kText},
    {"user", 45, 64, Kind::kText},       {"password", 109, 64, Kind::kText},
    {"ipv6", 173, 32, Kind::kText},      {"address", 205, 4, Kind::kAddress},
    {"netmask", 209, 4, Kind::kAddress}, {"gateway", 213, 4, Kind::kAddress},
    {"dns1", 217, 4, Kind::kAddress},    {"dns2", 221, 4, Kind::kAddress},
    {"mtu", 225, 2, Kind::kNumber},      {"connected", 227, 1, Kind::kFlag},
};
inline constexpr Field kLanFields[] = {
    {"address", 0, 4, Kind::kAddress},
    {"netmask", 4, 4, Kind::kAddress},
    {"mac", 8, 6, Kind::kMac},
};
inline constexpr Field kSsidFields[] = {
    {"index", 0, 2, Kind::kNumber},       {"enabled", 2, 1, Kind::kFlag},
    {"band", 3, 1, Kind::kNumber},        {"channel", 4, 2, Kind::kNumber},
    {"hidden", 6, 1, Kind::kFlag},        {"security", 7, 1, Kind::kNumber},
    {"bssid", 8, 6, Kind::kMac},          {"max_stations", 14, 2, Kind::kNumber},
    {"ssid", 16, 33, Kind::kText},        {"password", 49, 65, Kind::kText},
    {"width_mhz", 114, 2, Kind::kNumber}, {"rate_kbit", 116, 4, Kind::kNumber},
};
inline constexpr Field kDeviceFields[] = {
    {"mac", 0, 6, Kind::kMac},          {"name", 6, 16, Kind::kText},    {"link", 22, 1, Kind::kNumber},
    {"band", 23, 1, Kind::kNumber},     {"by_name", 24, 1, Kind::kFlag}, {"", 25, 1, Kind::kReserved},
    {"access", 26, 1, Kind::kFlag},     {"", 27, 1, Kind::kReserved},    {"rssi", 28, 2, Kind::kNumber},
    {"address", 30, 4, Kind::kAddress},
};
inline constexpr Field kNeighbourFields[] = {
    {"ssid", 0, 64, Kind::kText},
    {"channel", 64, 4, Kind::kNumber},
    {"bssid", 68, 6, Kind::kMac},
};

static_assert(Covers(kVersionFields, sizeof(router_version)));
static_assert(Covers(kCpuFields, sizeof(cpu_cfg)));
static_assert(Covers(kMemoryFields, sizeof(mem_cfg)));
static_assert(Covers(kWanFields, sizeof(wan_cfg)));
static_assert(Covers(kLanFields, sizeof(lan_cfg)));
static_assert(Covers(kSsidFields, sizeof(ssid_cfg)));
static_assert(Covers(kDeviceFields, sizeof(dev_cfg)));
static_assert(Covers(kNeighbourFields, sizeof(adj_wifi)));

template <class Record>
inline constexpr std::span<const Field> kFields;
template <>
inline constexpr std::span<const Field> kFields<router_version> = kVersionFields;
template <>
inline constexpr std::span<const Field> kFields<cpu_cfg> = kCpuFields;
template <>
inline constexpr std::span<const Field> kFields<mem_cfg> = kMemoryFields;
template <>
inline constexpr std::span<const Field> kFields<wan_cfg> = kWanFields;
template <>
inline constexpr std::span<const Field> kFields<lan_cfg> = kLanFields;
template <>
inline constexpr std::span<const Field> kFields<ssid_cfg> = kSsidFields;
template <>
inline constexpr std::span<const Field> kFields<dev_cfg> = kDeviceFields;
template <>
inline constexpr std::span<const Field> kFields<adj_wifi> = kNeighbourFields;

// The member of an object, or nullptr; safe on anything, nullptr included.
cJSON* Member(const cJSON* object, const char* key);

// Reads one value of `size` bytes. 0, or kBadState after one complaint; `out` is untouched then.
int LoadValue(const cJSON* item, const Field& field, void* out);

// Fills the bytes of a record from an object. 0, or kBadState; `out` may be half filled then.
int LoadFields(const cJSON* object, std::span<const Field> fields, void* out);

// Puts one value, or all fields of a record, into an object: what is there under the key is replaced.
void StoreValue(cJSON* object, const Field& field, const void* value);
void StoreFields(cJSON* object, std::span<const Field> fields, const void* record);

template <class Record>
int LoadRecord(const cJSON* object, Record* record) {
    Record loaded{};
    const int result = LoadFields(object, kFields<Record>, &loaded);
    if (result == 0) *record = loaded;
    return result;
}

// "AA:BB:CC:DD:EE:FF" and back.
std::string MacText(const std::uint8_t* mac);
bool ParseMac(const char* text, std::uint8_t* mac);

// "192.168.1.20".
std::string AddressText(std::uint32_t address);

}  // namespace simulator
