// The platform settings out of plug.conf: identity, key, servers and port. Read once at start-up, before any
// thread.
#pragma once

#include "platform/security.h"

namespace plug {

/// Which registration servers can be used; the values are what InitProtool returns.
enum class ServerChoice : std::int8_t { kNone = -1, kBoth = 0, kOnlyFirst = 1, kOnlySecond = 2 };

struct Settings {
    std::array<char, 64> pin{};
    CipherKey key{};
    int port = 0;                     // of the registration servers
    std::array<char, 64> address1{};  // dotted IPv4, or SERVER1 as written in Test Mode
    std::array<char, 64> address2{};
    bool run_mode = true;  // false: Test Mode, SERVER1 has no "com" in it
};

/// Reads the keys from the profile and resolves the servers. kNone when the port is outside 2048..65530 or,
/// in Run Mode, neither name resolves.
ServerChoice InitProtool();

/// The settings as InitProtool left them.
const Settings& PlatformSettings();

}  // namespace plug
