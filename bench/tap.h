// What passes over the bench's connections to an agent, for those who watch: each write and each read, as it
// is.
#pragma once

#include <netinet/in.h>

#include <functional>

#include "core/mac.h"
#include "platform/wire.h"

namespace plug::bench {

enum class Socket : std::uint8_t { kPlatform, kLocal };

/// One connection.
struct Wire {
    Socket socket = Socket::kPlatform;
    int number = 0;       // of this socket's connections, counted from 1
    sockaddr_in agent{};  // both ends; none on the local socket
    sockaddr_in bench{};
};

enum class Passage : std::uint8_t { kOpened, kFromAgent, kToAgent, kClosed };

struct Passed {
    Wire wire;
    Passage kind = Passage::kOpened;
    ConstBytes bytes{};     // of kFromAgent and kToAgent
    bool by_agent = false;  // kClosed
    bool reset = false;     // kClosed
    MacAddress mac{};       // the agent on the platform's connection; all zero while unknown
};

/// Called on the thread that reads or writes, for one connection in the order of its causes: before a write,
/// behind a read. So what is written to a dead connection passes too.
using Tap = std::function<void(const Passed& passed)>;

}  // namespace plug::bench
