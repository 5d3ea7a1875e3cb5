// The few socket calls that the servers and the measurements share. Close-on-exec.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <string>

#include "platform/wire.h"

namespace plug::bench {

/// A non-blocking listening socket; port 0 lets the system pick, and receives the picked one. Throws
/// std::system_error.
int Listen(const std::string& address, std::uint16_t& port);
/// Accepts one connection, non-blocking and without delay; -1 when there is none.
int AcceptFrom(int listener, sockaddr_in& peer);
/// A connection to a Unix socket, non-blocking; -1 when nobody listens there.
int ConnectTo(const std::string& path);
/// Waits until something can be read, bytes or the end; false after `deadline`.
bool Readable(int socket, std::chrono::steady_clock::time_point deadline);
/// Writes everything, waiting at most five seconds for a peer that does not read.
bool WriteAll(int socket, ConstBytes bytes);
/// The socket's own address.
sockaddr_in OwnName(int socket);
/// "127.0.0.1:40312"
std::string AddressText(const sockaddr_in& name);

}  // namespace plug::bench
