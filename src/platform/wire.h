// Bounded reading and writing of the platform link's records, and their byte order.
//
// This is the one place that knows the order, whatever that of the machine: integers travel least significant
// byte first. Only IPv4 addresses, which are in host order inside the agent, travel most significant byte
// first.
//
// Reader and writer never touch a byte outside their span: past its end a reader yields zeros and a writer
// drops, and ok() turns false for good.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace plug {

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
    std::uint16_t U16() { return Load<std::uint16_t>(); }
    std::uint32_t U32() { return Load<std::uint32_t>(); }
    std::uint64_t U64() { return Load<std::uint64_t>(); }
    std::uint32_t Ip4() { return __builtin_bswap32(U32()); }

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
    template <std::unsigned_integral Integer>
    Integer Load() {
        const ConstBytes taken = Take(sizeof(Integer));
        if (taken.size() < sizeof(Integer)) return 0;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < sizeof(Integer); ++i) value |= std::uint64_t{taken[i]} << 8 * i;
        return static_cast<Integer>(value);
    }

    ConstBytes left_;
    bool ok_ = true;
};

/// Writes fields to the front of a span.
class ByteWriter {
  public:
    explicit ByteWriter(Bytes room) : room_(room) {}

    void U8(std::uint8_t value) { Store(value); }
    void U16(std::uint16_t value) { Store(value); }
    void U32(std::uint32_t value) { Store(value); }
    void U64(std::uint64_t value) { Store(value); }
    void Ip4(std::uint32_t value) { Store(__builtin_bswap32(value)); }

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
    template <std::unsigned_integral Integer>
    void Store(Integer value) {
        std::uint64_t left = value;
        for (std::uint8_t& byte : Reserve(sizeof value)) {
            byte = static_cast<std::uint8_t>(left);
            left >>= 8;
        }
    }

    Bytes room_;
    std::size_t used_ = 0;
    bool ok_ = true;
};

}  // namespace plug
