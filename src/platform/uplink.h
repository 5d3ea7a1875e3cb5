// Everything the agent sends to the platform. Any thread; frames are never interleaved on the stream.
#pragma once

#include "platform/frame.h"

namespace plug {

constexpr std::size_t kMaxUpData = 8100;

/// Sends one frame; at least a head or a body must be given. The type is sent with its flag. 0 or -1.
int SendRouteUpData(ConstBytes head, ConstBytes body, MsgType type, int flag, std::uint8_t checksum);

/// Encrypts a plaintext record and sends it behind a clear head. 0 or -1.
int SendRecord(MsgType type, int flag, ConstBytes head, ConstBytes plain);

/// A report that no command asked for. 0, or -1 when not logged in, `data` is not 1 to 8100 bytes, or the
/// send fails. With an address it goes up as an addressed report, with nullptr as a plain one.
int SendIpUpData(ConstBytes data, std::uint8_t data_type, const MacAddress* address);

/// The reply to a command, with a result code; without data no body is sent. 0, or -1 when not logged in,
/// `data` is over 8100 bytes, or the send fails. With an address it answers a function command, with nullptr
/// a plug command.
int SendReplyUpData(std::uint16_t result_code, ConstBytes data, std::uint8_t data_type,
                    const MacAddress* address);

/// Sends a heartbeat with the current time. 0 or -1.
int SendHeartbeat();

}  // namespace plug
