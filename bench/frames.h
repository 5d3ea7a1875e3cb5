// Platform frames as byte vectors, made and read with the agent's own frame code.
#pragma once

#include "bench/event_log.h"
#include "platform/security.h"

namespace plug::bench {

/// The key text of plug.conf as the cipher's key.
CipherKey MakeKey(std::string_view text);

/// A whole frame: `plain` is padded, encrypted and summed; an empty one gives a frame without a body.
ByteVector BuildFrame(const CipherKey& key, MsgType type, ConstBytes head, ConstBytes plain);

/// A function-ID command (MsgType 20). `head` is the opaque word that the answer echoes.
ByteVector BuildCommand(const CipherKey& key, std::uint16_t id, ConstBytes parameters,
                        const MacAddress& address, std::uint16_t head);
/// Plug data: MsgType 18, which is answered, or 25, which is not.
ByteVector BuildPlugData(const CipherKey& key, MsgType type, std::uint8_t data_type, std::string_view text);

/// The acks that accept.
ByteVector BuildRegisterAck(const CipherKey& key, ConstBytes token, std::uint32_t login_address,
                            std::uint16_t login_port, ConstBytes second_value);
ByteVector BuildLoginAck(const CipherKey& key, std::uint16_t interval);

/// What a stream of frames begins with: a whole frame, or bytes that are none, as `note` says.
struct Piece {
    std::size_t size = 0;
    std::string note{};
};
/// None when more bytes are needed to tell.
std::optional<Piece> FirstPiece(ConstBytes stream);

/// Takes one whole frame of either direction apart: header, head and plain. What cannot be decrypted or fails
/// its checksum becomes a kBadFrame with a note, and has as much of these as could be read.
LinkEvent OpenFrame(const CipherKey& key, ByteVector frame);
/// Reads one whole frame that an agent sent. What cannot be decrypted, fails its checksum or is too short
/// becomes a kBadFrame with a note.
LinkEvent ReadFrame(const CipherKey& key, ByteVector frame);

/// A frame with a changed checksum byte.
ByteVector WithWrongChecksum(ByteVector frame);
/// Only a header, announcing a head of 255 and a body of 65535 bytes.
ByteVector HugeHeader();
/// A frame whose body begins with the lead word 0xFFFF.
ByteVector LeadWordFrame();

ByteVector ToBytes(std::string_view text);
/// The bytes of several pieces in a row.
ByteVector Join(std::initializer_list<ConstBytes> pieces);

ByteVector ParseHex(std::string_view text);  // throws std::invalid_argument; blanks and colons are skipped
std::string ToHex(ConstBytes bytes);
std::string MacText(const MacAddress& mac);  // "02:11:22:33:44:55"
/// Twelve hex digits, with or without separators; none when it is no MAC.
std::optional<MacAddress> ParseMac(std::string_view text);

}  // namespace plug::bench
