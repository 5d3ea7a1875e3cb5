// Small text helpers over fixed buffers.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace plug {

/// A router's or a device's MAC, in the order of its text.
using MacAddress = std::array<std::uint8_t, 6>;

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

template <class Byte, std::size_t size>
bool AllZero(const std::array<Byte, size>& bytes) {
    return bytes == std::array<Byte, size>{};
}

}  // namespace plug
