// One connection of an agent: its socket, what was received of it, and the strict cutting of frames.
#pragma once

#include <atomic>
#include <memory>

#include "bench/frames.h"

namespace plug::bench {

struct AgentLink {
    using TimePoint = std::chrono::steady_clock::time_point;

    AgentLink(int fd, int link_number, Server link_server, std::string peer_name)
        : socket(fd), number(link_number), server(link_server), peer(std::move(peer_name)) {}
    ~AgentLink();
    AgentLink(const AgentLink&) = delete;
    AgentLink& operator=(const AgentLink&) = delete;

    // Any thread.
    bool Send(ConstBytes bytes);
    bool SendSplit(ConstBytes bytes, std::size_t parts, Milliseconds pause);
    bool Drop(bool abruptly);

    /// What the next received bytes are: a frame, or bytes between frames as a kBadFrame, since an agent
    /// sends nothing but whole frames. None when no frame is complete.
    std::optional<LinkEvent> CutFrame(const CipherKey& key);

    const int socket;
    const int number;
    const Server server;
    const std::string peer;
    std::atomic<bool> dropped{false};
    std::atomic<TimePoint> stalled_until{TimePoint{}};

    // Of the serving thread.
    MacAddress mac{};
    bool open = true;
    ByteVector received;
    ByteVector delayed;  // an ack that waits for its time
    TimePoint delayed_until;

  private:
    std::mutex send_mutex_;  // keeps frames of several senders whole
};
using LinkPtr = std::shared_ptr<AgentLink>;

}  // namespace plug::bench
