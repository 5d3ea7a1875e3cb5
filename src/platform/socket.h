// Waits on the sockets of the platform link and of downloads.
#pragma once

#include <netinet/in.h>

#include "core/sync.h"

namespace plug {

/// Connects a non-blocking socket. False, with errno, when the other end refuses, cannot be reached or `stop`
/// is set first.
bool ConnectTo(int socket, const sockaddr_in& server, const PollableEvent& stop);

}  // namespace plug
