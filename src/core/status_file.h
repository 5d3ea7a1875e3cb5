// The one-line status file by which other programs of the router learn the agent's state.
#pragma once

#include <cstdint>

namespace plug {

enum class Status : std::uint8_t {
    kRegistering = 1,
    kRegistered = 2,
    kLoggedIn = 3,
    kUpdateReady = 4,
    kForcedDisconnect = 5,
    kRegisterFailed = 101,
    kStartFailed = 102,
    kLinkLost = 103,
    kUpdateFailed = 104,
};

/// Replaces the file's content by the code as three digits and a newline, in one step. An update that is
/// ready and a forced disconnect are the last word: the process ends for them, and whatever other threads
/// still write then is dropped. 0, or -1 when it cannot be written. Any thread.
int WriteStatus(Status status);

}  // namespace plug
