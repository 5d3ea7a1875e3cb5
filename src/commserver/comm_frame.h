// The frame of the local socket, as bytes.
//
//   0  u16  head 0x5A5A          8  u32  payload length
//   2  u16  FuncID              12  u16  16-bit sum of the payload bytes; 0 without a payload
//   4  u32  sequence            14  payload
//
// Both ends run on the same machine: every field is in the host's own byte order.
#pragma once

#include <optional>

#include "platform/wire.h"

namespace plug {

constexpr std::uint16_t kLocalHead = 0x5A5A;

struct [[gnu::packed]] LocalHeader {
    std::uint16_t head = kLocalHead;
    std::uint16_t func_id = 0;
    std::uint32_t sequence = 0;
    std::uint32_t length = 0;
    std::uint16_t check_sum = 0;
};
static_assert(sizeof(LocalHeader) == 14);

/// The header at the front of `frame`, which has at least its 14 bytes.
LocalHeader ReadLocalHeader(ConstBytes frame);

/// The payload that the header announces; none when fewer bytes were received or their sum is another one.
/// Bytes behind it do not count.
std::optional<ConstBytes> CheckedPayload(const LocalHeader& header, ConstBytes frame);

/// Writes a whole frame to `out`. Its size, or 0 when it does not fit.
std::size_t WriteLocalFrame(Bytes out, std::uint16_t func_id, std::uint32_t sequence, ConstBytes payload);

}  // namespace plug
