// Everything the agent sends over the local socket, and the peer it goes to.
#pragma once

#include "platform/wire.h"

namespace plug {

constexpr std::size_t kMaxLocalPayload = 1486;

/// Forgets the peer and starts the sequence anew. Before any thread starts.
void ResetCommSend();

/// Makes a connected, non-blocking socket the current peer, and closes it again. Connection thread.
void SetLocalPeer(int socket);
void CloseLocalPeer();

/// The name of a command in the log; null for a FuncID that is not sent.
const char* CommandName(std::uint16_t func_id);

/// Sends one frame; the FuncID decides whether `data` is its payload. 0; -1 when the FuncID cannot be sent,
/// the payload is over 1486 bytes, no peer is connected or the send fails. Any thread.
int CommSendCmd(std::uint16_t func_id, ConstBytes data);

}  // namespace plug
