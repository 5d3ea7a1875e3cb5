// MAC addresses and their texts.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace plug {

/// A router's or a device's MAC, in the order of its text.
using MacAddress = std::array<std::uint8_t, 6>;

/// The value of a hexadecimal digit, or -1.
constexpr int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

/// "AA:BB:CC:DD:EE:FF".
using MacText = std::array<char, 18>;
inline MacText TextOf(const MacAddress& mac) {
    MacText text{};
    snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3],
             mac[4], mac[5]);
    return text;
}

/// Reads that text, digits of either case. False for any other text.
constexpr bool ParseMac(std::string_view text, MacAddress& mac) {
    if (text.size() != 17) return false;
    MacAddress parsed{};
    for (std::size_t i = 0; i < parsed.size(); ++i) {
        const int high = HexDigit(text[3 * i]);
        const int low = HexDigit(text[3 * i + 1]);
        if (high < 0 || low < 0 || (i > 0 && text[3 * i - 1] != ':')) return false;
        parsed[i] = static_cast<std::uint8_t>(high << 4 | low);
    }
    mac = parsed;
    return true;
}

/// Reads "aabbccddeeff" as far as it goes. The number of bytes read, EOF for an empty text; the others stay.
inline int ScanMac(const char* text, MacAddress& mac) {
    return sscanf(text, "%2hhx%2hhx%2hhx%2hhx%2hhx%2hhx", &mac[0], &mac[1], &mac[2], &mac[3], &mac[4],
                  &mac[5]);
}

/// The same for "AA:BB:CC:DD:EE:FF", where a byte may have one digit.
inline int ScanColonMac(const char* text, MacAddress& mac) {
    return sscanf(text, "%hhx:%hhx:%hhx:%hhx:%hhx:%hhx", &mac[0], &mac[1], &mac[2], &mac[3], &mac[4],
                  &mac[5]);
}

}  // namespace plug
