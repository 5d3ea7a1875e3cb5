// What the access control has and nothing on this router reaches: no socket is opened for its datagrams,
// nothing is polled, nobody reads its settings or asks for a print of its table. All of that stands here, and
// only that.
#pragma once

#include <netinet/in.h>

#include <array>

#include "platform/wire.h"
#include "rules/surf_rule_table.h"

namespace plug {

/// The settings of no_feeling_daemon, kept as they were given.
struct DaemonSettings {
    int mode;
    int value;
    int port;
};
void KeepDaemonSettings(const DaemonSettings& settings);

/// The daemon's thread beside the passes; it has nothing to wait for and ends at once.
void thread_epoll();

/// Logs the whole rule table.
void hash_table_print() PLUG_CHECKED(requires_capability(SurfRuleMutex()));

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
