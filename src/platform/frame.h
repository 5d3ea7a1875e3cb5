// The platform frame and its body records, as bytes; both ends of the link use these functions.
//
//   0  u16  magic 0xDDCC           4  u8   checksum
//   2  u8   MsgType | flag << 5    5  u16  body length B
//   3  u8   head length H          7  H bytes of clear head, then B bytes of encrypted body
//
// The checksum is the 8-bit sum of the two bytes of the body length, the head and the body before padding and
// encryption. A body, when there is one, is a record of one of the layouts below.
#pragma once

#include "core/text.h"
#include "platform/wire.h"

namespace plug {

constexpr std::uint16_t kFrameMagic = 0xDDCC;
constexpr std::size_t kFrameHeaderSize = 7;
constexpr std::size_t kMaxFrameSize = 8192;

enum class MsgType : std::uint8_t {
    kHeartbeat = 1,
    kHeartbeatAck = 2,
    kForcedDisconnect = 3,
    kRegister = 9,
    kLogin = 10,
    kAck = 11,
    kDataReport = 17,
    kPlugCommand = 18,
    kAddressedReport = 19,
    kFunctionCommand = 20,
    kPlugReply = 25,
    kFunctionReply = 26,
};

struct FrameHeader {
    std::uint8_t type_byte = 0;
    std::uint8_t head_length = 0;
    std::uint8_t checksum = 0;
    std::uint16_t body_length = 0;

    MsgType type() const { return static_cast<MsgType>(type_byte & 0x1F); }
    std::size_t frame_size() const { return kFrameHeaderSize + head_length + body_length; }
};

/// Reads a header from its seven bytes; the magic is skipped, not checked.
FrameHeader ReadFrameHeader(ConstBytes bytes);

/// Writes a whole frame (body already encrypted) to `out`. Its size, or 0 when it does not fit or the head is
/// over 255 bytes.
std::size_t WriteFrame(Bytes out, MsgType type, int flag, ConstBytes head, ConstBytes body,
                       std::uint8_t checksum);

/// The checksum over a body length, a head and a plaintext body.
std::uint8_t FrameChecksum(std::size_t body_length, ConstBytes head, ConstBytes plain);

/// A data record: reserved u16, DataType u8, length u16, data. The addressed one carries six bytes of address
/// before the length.
struct DataRecord {
    std::uint8_t data_type = 0;
    MacAddress address{};  // all zero in a record without one
    std::uint16_t declared_length = 0;
    ConstBytes data;  // never longer than what was received
};
constexpr std::size_t kDataRecordHeader = 5;
constexpr std::size_t kAddressedRecordHeader = 11;

/// Writes a record; a null address gives the layout without one.
void WriteDataRecord(ByteWriter& out, std::uint8_t data_type, const MacAddress* address, ConstBytes data);
DataRecord ReadDataRecord(ConstBytes plain, bool with_address);

}  // namespace plug
