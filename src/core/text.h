// Small text helpers over fixed buffers.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "core/mac.h"

namespace plug {

/// Copies `text` into `field`, cut at its room, and fills the rest with NULs (at least one).
inline void CopyText(std::span<char> field, std::string_view text) {
    const std::size_t length = text.size() < field.size() ? text.size() : field.size() - 1;
    memcpy(field.data(), text.data(), length);
    memset(field.data() + length, 0, field.size() - length);
}

/// The text in a NUL-padded field that may lack the NUL when full.
inline std::string_view FieldText(std::span<const char> field) {
    return {field.data(), strnlen(field.data(), field.size())};
}

/// "0A FF ": upper-case pairs, each followed by a blank, as many as fit in `room`.
inline std::string_view HexPairs(std::span<const std::uint8_t> bytes, std::span<char> room) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::size_t used = 0;
    for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), room.size() / 3))) {
        room[used++] = kDigits[byte >> 4];
        room[used++] = kDigits[byte & 0x0F];
        room[used++] = ' ';
    }
    return {room.data(), used};
}

template <class Byte, std::size_t size>
bool AllZero(const std::array<Byte, size>& bytes) {
    return bytes == std::array<Byte, size>{};
}

}  // namespace plug
