#include "platform/frame.h"

#include <numeric>

namespace plug {
namespace {

unsigned Sum(ConstBytes bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), 0U);
}

}  // namespace

FrameHeader ReadFrameHeader(ConstBytes bytes) {
    ByteReader reader(bytes);
    reader.Skip(sizeof kFrameMagic);
    FrameHeader header;
    header.type_byte = reader.U8();
    header.head_length = reader.U8();
    header.checksum = reader.U8();
    header.body_length = reader.U16();
    return header;
}

std::size_t WriteFrame(Bytes out, MsgType type, int flag, ConstBytes head, ConstBytes body,
                       std::uint8_t checksum) {
    if (head.size() > 0xFF || body.size() > 0xFFFF) return 0;
    ByteWriter writer(out);
    writer.U16(kFrameMagic);
    writer.U8(static_cast<std::uint8_t>(static_cast<int>(type) | flag << 5));
    writer.U8(static_cast<std::uint8_t>(head.size()));
    writer.U8(checksum);
    writer.U16(static_cast<std::uint16_t>(body.size()));
    writer.Copy(head);
    writer.Copy(body);
    return writer.ok() ? writer.size() : 0;
}

std::uint8_t FrameChecksum(std::size_t body_length, ConstBytes head, ConstBytes plain) {
    return static_cast<std::uint8_t>((body_length & 0xFF) + (body_length >> 8) + Sum(head) + Sum(plain));
}

void WriteDataRecord(ByteWriter& out, std::uint8_t data_type, const MacAddress* address, ConstBytes data) {
    out.U16(0);
    out.U8(data_type);
    if (address != nullptr) out.Copy(*address);
    out.U16(static_cast<std::uint16_t>(data.size()));
    out.Copy(data);
}

DataRecord ReadDataRecord(ConstBytes plain, bool with_address) {
    ByteReader reader(plain);
    reader.Skip(2);
    DataRecord record;
    record.data_type = reader.U8();
    if (with_address) record.address = reader.Array<6>();
    record.declared_length = reader.U16();
    record.data = reader.Take(record.declared_length);
    return record;
}

}  // namespace plug
