#include "bench/frames.h"

#include <stdexcept>

namespace plug::bench {
namespace {

constexpr std::size_t kRegisterHead = 15;
constexpr std::size_t kRegisterRecord = 41;  // and the serial number
constexpr std::size_t kLoginHead = 44;
constexpr std::size_t kLoginRecord = 25;
constexpr std::size_t kPinSize = 12;
constexpr std::size_t kTokenSize = 32;
constexpr std::uint8_t kAccepted[] = {0, 0};  // the head of an ack

std::string FieldString(ConstBytes field) {
    const std::string_view text = AsText(field);
    return std::string(text.substr(0, text.find('\0')));
}

LinkEvent& Bad(LinkEvent& event, std::string note) {
    event.kind = EventKind::kBadFrame;
    event.note = std::move(note);
    return event;
}

void ReadRegister(LinkEvent& event) {
    if (event.head.size() != kRegisterHead || event.plain.size() < kRegisterRecord) {
        Bad(event, "register frame of a wrong size");
        return;
    }
    event.kind = EventKind::kRegister;
    event.pin = FieldString(ConstBytes(event.head).subspan(3));
    ByteReader body(event.plain);
    body.Skip(2);
    event.serial = FieldString(body.Take(body.U8()));
    event.mac = body.Array<6>();
    if (!body.ok() || event.plain.size() != kRegisterRecord + event.plain[2])
        Bad(event, "register record whose serial number does not fit");
}

void ReadLogin(LinkEvent& event) {
    if (event.head.size() != kLoginHead || event.plain.size() != kLoginRecord) {
        Bad(event, "login frame of a wrong size");
        return;
    }
    event.kind = EventKind::kLogin;
    event.pin = FieldString(ConstBytes(event.head).first(kPinSize));
    event.token = Join({ConstBytes(event.head).subspan(kPinSize, kTokenSize)});
}

void ReadHeartbeat(LinkEvent& event) {
    if (event.head.size() != 4 || !event.plain.empty()) {
        Bad(event, "heartbeat of a wrong size");
        return;
    }
    event.kind = EventKind::kHeartbeat;
    event.agent_time = ByteReader(event.head).U32();
}

void ReadData(LinkEvent& event, EventKind kind, bool addressed) {
    event.kind = kind;
    if (kind == EventKind::kReply) {
        if (event.head.size() != 2) {
            Bad(event, "reply without a result code");
            return;
        }
        event.code = ByteReader(event.head).U16();
        if (event.plain.empty()) return;
    }
    const std::size_t header = addressed ? kAddressedRecordHeader : kDataRecordHeader;
    const DataRecord record = ReadDataRecord(event.plain, addressed);
    event.data_type = record.data_type;
    event.address = record.address;
    event.data = Join({record.data});
    if (event.plain.size() != header + record.declared_length)
        Bad(event, "data record of " + std::to_string(event.plain.size()) + " bytes declares " +
                       std::to_string(record.declared_length));
}

/// What goes up, and what reads the rest of a frame whose head and body are there.
struct FrameReader {
    MsgType type;
    void (*read)(LinkEvent& event);
};
constexpr FrameReader kReaders[] = {
    {MsgType::kRegister, ReadRegister},
    {MsgType::kLogin, ReadLogin},
    {MsgType::kHeartbeat, ReadHeartbeat},
    {MsgType::kDataReport, [](LinkEvent& event) { ReadData(event, EventKind::kReport, false); }},
    {MsgType::kAddressedReport, [](LinkEvent& event) { ReadData(event, EventKind::kReport, true); }},
    {MsgType::kPlugReply, [](LinkEvent& event) { ReadData(event, EventKind::kReply, false); }},
    {MsgType::kFunctionReply, [](LinkEvent& event) { ReadData(event, EventKind::kReply, true); }},
};

/// Decrypts the body into event.plain. False, with the event made bad, when that fails.
bool DecryptBody(const CipherKey& key, LinkEvent& event, ConstBytes body) {
    if (body.size() % kAesBlock != 0) {
        Bad(event, "body is no multiple of 16 bytes");
        return false;
    }
    ByteVector plain(body.size());
    std::size_t length = 0;
    ConstBytes stripped;
    if (!body.empty() && (aes_decrypt(key, body, plain, length) != 0 || !WithoutPadding(plain, stripped))) {
        Bad(event, "body does not decrypt");
        return false;
    }
    event.plain = Join({stripped});
    return true;
}

}  // namespace

CipherKey MakeKey(std::string_view text) {
    CipherKey key;
    CopyText(key, text);
    return key;
}

ByteVector BuildFrame(const CipherKey& key, MsgType type, ConstBytes head, ConstBytes plain) {
    ByteVector body(plain.empty() ? 0 : PaddedSize(plain.size()));
    std::size_t length = 0;
    if (!plain.empty() && aes_encrypt(key, plain, body, length) != 0)
        throw std::runtime_error("cannot encrypt");
    ByteVector frame(kFrameHeaderSize + head.size() + body.size());
    if (WriteFrame(frame, type, 0, head, body, FrameChecksum(body.size(), head, plain)) != frame.size())
        throw std::invalid_argument("a frame takes at most 255 bytes of head and 65535 of body");
    return frame;
}

ByteVector BuildCommand(const CipherKey& key, std::uint16_t id, ConstBytes parameters,
                        const MacAddress& address, std::uint16_t head) {
    ByteVector command(10 + parameters.size());
    ByteWriter writer(command);
    writer.U16(head);
    writer.U16(id);
    writer.Zeros(6);
    writer.Copy(parameters);
    ByteVector plain(kAddressedRecordHeader + command.size());
    ByteWriter record(plain);
    WriteDataRecord(record, 0, &address, command);
    return BuildFrame(key, MsgType::kFunctionCommand, {}, plain);
}

ByteVector BuildPlugData(const CipherKey& key, MsgType type, std::uint8_t data_type, std::string_view text) {
    ByteVector plain(kDataRecordHeader + text.size());
    ByteWriter record(plain);
    WriteDataRecord(record, data_type, nullptr, AsBytes(text));
    return BuildFrame(key, type, {}, plain);
}

ByteVector BuildRegisterAck(const CipherKey& key, ConstBytes token, std::uint32_t login_address,
                            std::uint16_t login_port, ConstBytes second_value) {
    ByteVector plain(72);
    ByteWriter writer(plain);
    writer.Zeros(2);
    writer.Text(AsText(token), kTokenSize);
    writer.Ip4(login_address);
    writer.U16(login_port);
    writer.Text(AsText(second_value), 32);
    return BuildFrame(key, MsgType::kAck, kAccepted, plain);
}

ByteVector BuildLoginAck(const CipherKey& key, std::uint16_t interval) {
    ByteVector plain(4);
    ByteWriter writer(plain);
    writer.Zeros(2);
    writer.U16(interval);
    return BuildFrame(key, MsgType::kAck, kAccepted, plain);
}

std::optional<Piece> FirstPiece(ConstBytes stream) {
    if (stream.size() < kFrameHeaderSize) return {};
    static constexpr std::array<std::uint8_t, 2> kMagic = {kFrameMagic & 0xFF, kFrameMagic >> 8};
    const auto magic = std::search(stream.begin(), stream.end(), kMagic.begin(), kMagic.end());
    if (magic != stream.begin())
        return Piece{static_cast<std::size_t>(magic - stream.begin()), "bytes that belong to no frame"};
    const std::size_t size = ReadFrameHeader(stream).frame_size();
    if (size > kMaxFrameSize)
        return Piece{kMagic.size(), "a header announcing " + std::to_string(size) + " bytes"};
    if (stream.size() < size) return {};
    return Piece{size};
}

LinkEvent OpenFrame(const CipherKey& key, ByteVector frame) {
    LinkEvent event;
    event.header = ReadFrameHeader(frame);
    event.frame = std::move(frame);
    const ConstBytes rest = ConstBytes(event.frame).subspan(kFrameHeaderSize);
    event.head = Join({rest.first(event.header.head_length)});
    const ConstBytes body = rest.subspan(event.header.head_length);
    if (!DecryptBody(key, event, body)) return event;
    if (FrameChecksum(body.size(), event.head, event.plain) != event.header.checksum)
        Bad(event, "wrong checksum");
    return event;
}

LinkEvent ReadFrame(const CipherKey& key, ByteVector frame) {
    LinkEvent event = OpenFrame(key, std::move(frame));
    if (event.kind == EventKind::kBadFrame) return event;
    const auto* const reader = std::ranges::find(kReaders, event.header.type(), &FrameReader::type);
    if (reader == std::end(kReaders))
        return Bad(event, "MsgType " + std::to_string(event.header.type_byte & 0x1F) + " does not go up");
    reader->read(event);
    return event;
}

ByteVector WithWrongChecksum(ByteVector frame) {
    frame.at(4) ^= 0x55;
    return frame;
}

ByteVector HugeHeader() {
    return {0xCC, 0xDD, 20, 0xFF, 0, 0xFF, 0xFF};
}

ByteVector LeadWordFrame() {
    return {0xCC, 0xDD, 2, 0, 0, 2, 0, 0xFF, 0xFF};
}

ByteVector ToBytes(std::string_view text) {
    return {text.begin(), text.end()};
}

ByteVector Join(std::initializer_list<ConstBytes> pieces) {
    ByteVector joined;
    for (const ConstBytes piece : pieces) joined.insert(joined.end(), piece.begin(), piece.end());
    return joined;
}

ByteVector ParseHex(std::string_view text) {
    std::string digits;
    for (const char character : text) {
        if (character == ' ' || character == ':' || character == '-') continue;
        if (!isxdigit(static_cast<unsigned char>(character)))
            throw std::invalid_argument("not hexadecimal: " + std::string(text));
        digits += character;
    }
    if (digits.size() % 2 != 0) throw std::invalid_argument("an odd number of hexadecimal digits");
    ByteVector bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(at, 2), nullptr, 16)));
    return bytes;
}

std::string ToHex(ConstBytes bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

std::string MacText(const MacAddress& mac) {
    return TextOf(mac).data();
}

std::optional<MacAddress> ParseMac(std::string_view text) try {
    const ByteVector bytes = ParseHex(text);
    MacAddress mac;
    if (bytes.size() != mac.size()) return {};
    std::copy(bytes.begin(), bytes.end(), mac.begin());
    return mac;
} catch (const std::invalid_argument&) {
    return {};
}

}  // namespace plug::bench
