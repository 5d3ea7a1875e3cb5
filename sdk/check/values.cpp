#include "values.h"

#include <algorithm>
#include <cstdio>

#include "core/mac.h"

namespace sdk_check {
namespace {

/// Numbers that are meant to lie between bounds, by the names of their fields.
struct Bounds {
    const char* field;
    std::uint64_t least;
    std::uint64_t most;
};
constexpr std::uint64_t kTwentyYears = 20ULL * 365 * 86400;  // of seconds
constexpr Bounds kBounds[] = {
    {"cores", 1, 255},   {"clock_mhz", 1, 10'000},     {"size_kib", 1024, 1U << 30},
    {"percent", 0, 100}, {"seconds", 0, kTwentyYears}, {"vlan", 0, 4095},
    {"mtu", 0, 9216},    {"channel", 0, 233},          {"width_mhz", 0, 320},
    {"mbps", 0, 40'000},
};

bool Is(const Field& field, const char* name) {
    return strcmp(field.name, name) == 0;
}

std::string_view Text(const Field& field, Bytes record) {
    const char* const text = reinterpret_cast<const char*>(record.data()) + field.offset;
    return {text, strnlen(text, field.size)};
}

/// How many bytes the well-formed UTF-8 character at the beginning takes, 0 when there is none or it does not
/// print.
std::size_t Character(std::string_view text) {
    const auto byte = [&](std::size_t at) { return static_cast<std::uint8_t>(text[at]); };
    if (byte(0) < 0x80) return byte(0) >= 0x20 && byte(0) != 0x7F ? 1 : 0;
    const std::size_t size = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : byte(0) >= 0xC2 ? 2 : 0;
    if (size == 0 || byte(0) > 0xF4 || text.size() < size) return 0;
    for (std::size_t at = 1; at < size; ++at)
        if ((byte(at) & 0xC0) != 0x80) return 0;
    return size;
}

/// The text between quotes, its bytes that do not print as \x5A.
std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    while (!text.empty()) {
        const std::size_t size = Character(text);
        if (size == 0) {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<std::uint8_t>(text[0]));
            quoted += escaped;
        } else {
            quoted += text.substr(0, size);
        }
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return quoted + "\"";
}

std::string ValueText(const Field& field, Bytes record) {
    const std::uint8_t* const value = record.data() + field.offset;
    switch (field.kind) {
        case Kind::kText:
        case Kind::kFullText:
            if (!Is(field, "password")) return Quoted(Text(field, record));
            return "(" + std::to_string(Text(field, record).size()) + " characters)";
        case Kind::kMac:
            return MacText(value);
        case Kind::kAddress:
            return AddressText(static_cast<std::uint32_t>(Number(field, record)));
        case Kind::kDate: {
            char text[24];
            snprintf(text, sizeof text, "%02u%02u-%02u-%02u", value[0], value[1], value[2], value[3]);
            return text;
        }
        case Kind::kFlag:
            if (value[0] <= 1) return value[0] == 0 ? "off" : "on";
            return std::to_string(value[0]);
        case Kind::kNumber:
        case Kind::kReserved:
            break;
    }
    return std::to_string(Number(field, record));
}

std::string TextDoubt(const Field& field, Bytes record, const char* filled) {
    std::string_view text = Text(field, record);
    if (text.empty()) return Is(field, filled) ? "is empty" : "";
    if (text.size() == field.size && field.kind == Kind::kText)
        return "has no NUL within its " + std::to_string(field.size) + " bytes";
    while (!text.empty()) {
        const std::size_t size = Character(text);
        if (size == 0) return "has bytes that are no printable UTF-8";
        text.remove_prefix(size);
    }
    return "";
}

std::string MacDoubt(const std::uint8_t* mac) {
    const auto all = [mac](std::uint8_t byte) { return std::count(mac, mac + 6, byte) == 6; };
    if (all(0)) return "is zeros";
    if (all(0xFF)) return "is the broadcast address";
    if ((mac[0] & 1) != 0) return MacText(mac) + " is a group's address";
    return "";
}

std::string DateDoubt(const std::uint8_t* date) {
    const bool good = (date[0] == 19 || date[0] == 20) && date[1] <= 99 && date[2] >= 1 && date[2] <= 12 &&
                      date[3] >= 1 && date[3] <= 31;
    return good ? "" : "is no date: 20, 22, 12, 27 would be 2022-12-27";
}

bool IsNetmask(std::uint32_t mask) {
    return mask != 0 && (~mask & (~mask + 1)) == 0;
}

std::string NumberDoubt(const Field& field, std::uint64_t number) {
    if (Is(field, "index") && number == 0) return "is 0: they are counted from 1";
    for (const Bounds& bounds : kBounds) {
        if (!Is(field, bounds.field) || (number >= bounds.least && number <= bounds.most)) continue;
        return std::to_string(number) + " is not within " + std::to_string(bounds.least) + " and " +
               std::to_string(bounds.most);
    }
    return "";
}

std::string FieldDoubt(const Field& field, Bytes record, const char* filled) {
    switch (field.kind) {
        case Kind::kText:
        case Kind::kFullText:
            return TextDoubt(field, record, filled);
        case Kind::kMac:
            return MacDoubt(record.data() + field.offset);
        case Kind::kDate:
            return DateDoubt(record.data() + field.offset);
        case Kind::kFlag:
            return Number(field, record) > 1 ? "is neither 0 nor 1" : "";
        case Kind::kNumber:
            return NumberDoubt(field, Number(field, record));
        case Kind::kAddress:
        case Kind::kReserved:
            break;
    }
    return "";
}

/// The addresses of a record, by name. A record that lacks one has 0 there.
std::uint32_t AddressOf(std::span<const Field> fields, Bytes record, const char* name) {
    for (const Field& field : fields)
        if (field.kind == Kind::kAddress && Is(field, name))
            return static_cast<std::uint32_t>(Number(field, record));
    return 0;
}

bool HasField(std::span<const Field> fields, const char* name) {
    return std::ranges::any_of(fields, [name](const Field& field) { return Is(field, name); });
}

/// A WAN that is down has no addresses; everything else that has a netmask is in a net.
bool Down(std::span<const Field> fields, Bytes record) {
    for (const Field& field : fields)
        if (Is(field, "connected")) return Number(field, record) == 0;
    return false;
}

void DoubtNet(std::span<const Field> fields, Bytes record, Texts& doubts) {
    const std::uint32_t address = AddressOf(fields, record, "address");
    const std::uint32_t netmask = AddressOf(fields, record, "netmask");
    const std::uint32_t gateway = AddressOf(fields, record, "gateway");
    if (address == 0) doubts.emplace_back("address is 0.0.0.0");
    if (!IsNetmask(netmask)) {
        const bool turned = IsNetmask(__builtin_bswap32(netmask));
        doubts.push_back("netmask " + AddressText(netmask) + " is none" +
                         (turned ? ": addresses are host-order integers, 192.168.1.20 is 0xC0A80114" : ""));
    } else if (gateway != 0 && ((gateway ^ address) & netmask) != 0) {
        doubts.push_back("gateway " + AddressText(gateway) + " is not in the net of " + AddressText(address));
    }
}

/// A device's address is one of the home's.
void DoubtDevice(std::span<const Field> fields, Bytes record, const Home& home, Texts& doubts) {
    const std::uint32_t address = AddressOf(fields, record, "address");
    if (home.lan_netmask != 0 && ((address ^ home.lan_address) & home.lan_netmask) != 0)
        doubts.push_back("address " + AddressText(address) + " is not in the LAN of " +
                         AddressText(home.lan_address));
}

}  // namespace

std::string AddressText(std::uint32_t address) {
    char text[16];
    snprintf(text, sizeof text, "%u.%u.%u.%u", address >> 24, address >> 16 & 255, address >> 8 & 255,
             address & 255);
    return text;
}

std::string MacText(const std::uint8_t* mac) {
    plug::MacAddress address;
    std::copy_n(mac, address.size(), address.begin());
    return plug::TextOf(address).data();
}

Texts Words(std::span<const Field> fields, Bytes record) {
    Texts words;
    for (const Field& field : fields)
        if (field.kind != Kind::kReserved)
            words.push_back(std::string(field.name) + "=" + ValueText(field, record));
    return words;
}

bool SameValue(const Field& field, Bytes one, Bytes other) {
    if (field.kind == Kind::kText || field.kind == Kind::kFullText)
        return Text(field, one) == Text(field, other);
    return memcmp(one.data() + field.offset, other.data() + field.offset, field.size) == 0;
}

std::string Times(std::size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

Texts Doubts(std::span<const Field> fields, Bytes record, const char* filled, const Home& home) {
    Texts doubts;
    for (const Field& field : fields) {
        const std::string doubt = FieldDoubt(field, record, filled);
        if (!doubt.empty()) doubts.push_back(std::string(field.name) + " " + doubt);
    }
    if (HasField(fields, "netmask")) {
        if (!Down(fields, record)) DoubtNet(fields, record, doubts);
    } else if (HasField(fields, "address")) {
        DoubtDevice(fields, record, home, doubts);
    } else if (HasField(fields, "first") && AddressOf(fields, record, "first") == 0) {
        doubts.emplace_back("first is 0.0.0.0");
    }
    return doubts;
}

Texts Doubles(std::span<const Field> fields, const std::vector<Bytes>& records) {
    Texts doubts;
    for (const Field& field : fields) {
        if (!Is(field, "index") && !Is(field, "address") && field.kind != Kind::kMac) continue;
        for (std::size_t later = 1; later < records.size(); ++later) {
            if (Number({"", field.offset, std::min<std::size_t>(field.size, 8), Kind::kNumber},
                       records[later]) == 0)
                continue;  // named already, or not known
            for (std::size_t earlier = 0; earlier < later; ++earlier) {
                if (!SameValue(field, records[earlier], records[later])) continue;
                doubts.push_back("[" + std::to_string(later + 1) + "] has the " + field.name + " of [" +
                                 std::to_string(earlier + 1) + "], " + ValueText(field, records[later]));
                break;
            }
        }
    }
    return doubts;
}

}  // namespace sdk_check
