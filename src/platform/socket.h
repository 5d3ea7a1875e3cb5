// Waits on the sockets of the platform link and of downloads.
#pragma once

#include <netinet/in.h>

#include <span>

#include "core/sync.h"

namespace plug {

/// Connects a non-blocking socket. False when the other end refuses or cannot be reached within the time, or
/// `stop` is set first; a negative time waits as long as the system tries.
bool ConnectTo(int socket, const sockaddr_in& server, const PollableEvent& stop, int milliseconds);

/// Sends bytes over a non-blocking socket: what it does not take at once must follow within the time. The
/// number of bytes that went out; 0 when it took none at once.
std::size_t SendWhole(int socket, std::span<const std::uint8_t> bytes, int milliseconds);

}  // namespace plug
