// Byte order of the platform link, and bounded reading and writing of its records.
//
// Integers of the link pass through the swap routines below and nowhere else. The ordinary ones swap only
// while the process-wide swap flag is set, and start-up clears it for good, so those fields travel
// little-endian. IPv4 address fields are in host order inside the agent and always travel most significant
// byte first.
//
// Reader and writer never touch a byte outside their span: past its end a reader yields zeros and a writer
// drops, and ok() turns false for good.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace plug {

static_assert(std::endian::native == std::endian::little, "records are laid out for little-endian hosts");

/// Set once at start-up, before any thread starts.
void SetSwapFlag(bool swap);
std::uint16_t Swap16(std::uint16_t value);
std::uint32_t Swap32(std::uint32_t value);
std::uint64_t Swap64(std::uint64_t value);
/// The one unconditional swap, for IPv4 address fields.
constexpr std::uint32_t SwapAddress(std::uint32_t value) {
    return __builtin_bswap32(value);
}

using ConstBytes = std::span<const std::uint8_t>;
using Bytes = std::span<std::uint8_t>;

inline ConstBytes AsBytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
inline std::string_view AsText(ConstBytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Reads fields from the front of a span.
class ByteReader {
  public:
    explicit ByteReader(ConstBytes bytes) : left_(bytes) {}

    std::uint8_t U8() { return Load<std::uint8_t>(); }
    std::uint16_t U16() { return Swap16(Load<std::uint16_t>()); }
    std::uint32_t U32() { return Swap32(Load<std::uint32_t>()); }
    std::uint64_t U64() { return Swap64(Load<std::uint64_t>()); }
    std::uint32_t Ip4() { return SwapAddress(Load<std::uint32_t>()); }

    /// The next `count` bytes; fewer, and not ok, when the span is shorter.
    ConstBytes Take(std::size_t count) {
        const ConstBytes taken = left_.first(Available(count));
        left_ = left_.subspan(taken.size());
        return taken;
    }
    /// Copies the next bytes into `out`; what is missing stays zero.
    void Copy(Bytes out) {
        const ConstBytes taken = Take(out.size());
        std::fill(std::copy(taken.begin(), taken.end(), out.begin()), out.end(), std::uint8_t{0});
    }
    template <std::size_t size>
    std::array<std::uint8_t, size> Array() {
        std::array<std::uint8_t, size> out;
        Copy(out);
        return out;
    }
    void Skip(std::size_t count) { (void)Take(count); }

    ConstBytes rest() const { return left_; }
    bool ok() const { return ok_; }

  private:
    std::size_t Available(std::size_t count) {
        if (count > left_.size()) ok_ = false;
        return std::min(count, left_.size());
    }
    template <class Integer>
    Integer Load() {
        Integer value{};
        if (const ConstBytes taken = Take(sizeof value); taken.size() == sizeof value)
            memcpy(&value, taken.data(), sizeof value);
        return value;
    }

    ConstBytes left_;
    bool ok_ = true;
};

/// Writes fields to the front of a span.
class ByteWriter {
  public:
    explicit ByteWriter(Bytes room) : room_(room) {}

    void U8(std::uint8_t value) { Store(value); }
    void U16(std::uint16_t value) { Store(Swap16(value)); }
    void U32(std::uint32_t value) { Store(Swap32(value)); }
    void U64(std::uint64_t value) { Store(Swap64(value)); }
    void Ip4(std::uint32_t value) { Store(SwapAddress(value)); }

    void Copy(ConstBytes bytes) {
        if (const Bytes room = Reserve(bytes.size()); !room.empty())
            std::copy(bytes.begin(), bytes.end(), room.begin());
    }
    void Zeros(std::size_t count) {
        const Bytes room = Reserve(count);
        std::fill(room.begin(), room.end(), std::uint8_t{0});
    }
    /// `text` in a field of `size` bytes: cut at the field, the rest filled with NULs.
    void Text(std::string_view text, std::size_t size) {
        const std::string_view fitting = text.substr(0, size);
        Copy(AsBytes(fitting));
        Zeros(size - fitting.size());
    }
    /// The next `count` bytes to be filled in place; empty, and not ok, when the room is shorter.
    Bytes Reserve(std::size_t count) {
        if (count > room_.size() - used_) ok_ = false;
        if (!ok_) return {};
        used_ += count;
        return room_.subspan(used_ - count, count);
    }

    Bytes written() const { return room_.first(used_); }
    std::size_t size() const { return used_; }
    bool ok() const { return ok_; }

  private:
    template <class Integer>
    void Store(Integer value) {
        if (const Bytes room = Reserve(sizeof value); !room.empty())
            memcpy(room.data(), &value, sizeof value);
    }

    Bytes room_;
    std::size_t used_ = 0;
    bool ok_ = true;
};

}  // namespace plug
