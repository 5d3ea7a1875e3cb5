// A pcapng file of what passes over the connections to the agents, for Wireshark.
//
// The platform's connections have their real addresses and ports. The local socket has none: each of its
// connections is shown as one of TCP on 127.0.0.1, the agent at port kLocalPort, so that Wireshark tells the
// directions and the connections apart and puts frames together as it does for any stream. Each write and
// each read is one packet, or several when it is long; what TCP itself exchanged is made up around them.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "bench/frames.h"
#include "bench/tap.h"

namespace plug::bench {

constexpr std::uint16_t kLocalPort = 0x5A5A;

class Capture {
  public:
    /// Replaces the file. Throws std::system_error when it cannot.
    explicit Capture(const std::string& path);
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// Writes it to the file, whole and at once. Any thread. When the file cannot be written to any more, it
    /// says so on standard error and ends the capture.
    void Note(const Passed& passed);

  private:
    struct Flow {
        std::uint32_t from_agent = 0;  // the sequence numbers that come next
        std::uint32_t to_agent = 0;
        bool closed = false;  // what is still written to it passes no more
    };
    struct Segment {
        bool from_agent;
        std::uint8_t flags;
        ConstBytes bytes{};
    };

    void Packet(const Wire& wire, Flow& flow, const Segment& segment);
    void Write(ConstBytes block);

    std::mutex mutex_;  // guards what follows
    int file_;
    std::map<std::pair<Socket, int>, Flow> flows_;
};

}  // namespace plug::bench
