// Datagrams of the access control. No socket is opened for them on this router, so every send fails.
#pragma once

#include <netinet/in.h>

#include <array>

#include "platform/wire.h"

namespace plug {

/// Logs where a send was given no data or no address. -1.
int eaccess_send(const char* function, int line);

/// Sends one datagram. What sendto returned, or -1.
int SendDatagram(ConstBytes data, const sockaddr_in* to);
/// Sends a copy of at most 1024 bytes, up to five times while the send returns 0 or less. The last result.
int SendDatagramCopy(ConstBytes data, const sockaddr_in* to);

/// "%d.%d.%d.%d", least significant byte first.
std::array<char, 16> DottedAddress(std::uint32_t address);

/// Logs at most 3071 bytes as upper-case pairs in debug mode.
void printhex(ConstBytes bytes);

}  // namespace plug
