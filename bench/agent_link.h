// One connection of an agent: its socket, what was received of it, and the strict cutting of frames.
#pragma once

#include <atomic>
#include <memory>

#include "bench/frames.h"
#include "bench/tap.h"

namespace plug::bench {

struct AgentLink {
    using TimePoint = std::chrono::steady_clock::time_point;

    AgentLink(int fd, int link_number, Server link_server, std::string peer_name)
        : socket(fd), number(link_number), server(link_server), peer(std::move(peer_name)) {}
    ~AgentLink();
    AgentLink(const AgentLink&) = delete;
    AgentLink& operator=(const AgentLink&) = delete;

    /// Lets `watcher` see all that passes; called before anything does.
    void Watch(Tap watcher, const sockaddr_in& agent);
    /// Tells the watcher of the end, which it hears of once.
    void TellClosed(bool by_agent, bool reset);

    // Any thread.
    bool Send(ConstBytes bytes);
    bool SendSplit(ConstBytes bytes, std::size_t parts, Milliseconds pause);
    bool Drop(bool abruptly);

    // Of the serving thread.
    /// Adds what can be read to `received`; returns what recv() does.
    ssize_t Receive();
    /// The same, waiting; false when nothing comes before `deadline`, or the connection ends.
    bool Await(TimePoint deadline);
    /// The first bytes of `received`, which has as many, taken away.
    ByteVector Take(std::size_t count);
    /// The next bytes as they are, waiting for them; fewer when Await is false.
    ByteVector AwaitBytes(std::size_t count, TimePoint deadline);
    /// What the next received bytes are: a frame, or bytes between frames as a kBadFrame, since an agent
    /// sends nothing but whole frames. None when no frame is complete.
    std::optional<LinkEvent> CutFrame(const CipherKey& key);
    /// The same, waiting for it; with the time at which its last bytes were read. None when Await is false.
    /// Throws std::runtime_error for a bad frame.
    std::optional<LinkEvent> NextFrame(const CipherKey& key, TimePoint deadline);

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

  private:
    bool Write(ConstBytes bytes);
    void Tell(Passed passed) const;

    Tap tap_;
    Wire wire_;
    std::atomic<bool> told_closed_{false};
    std::mutex send_mutex_;  // keeps frames of several senders whole
};
using LinkPtr = std::shared_ptr<AgentLink>;

/// A listener on loopback whose connections the caller's thread serves: no other stands between it and an
/// agent.
class DirectServer {
  public:
    /// Port 0: one that is free.
    explicit DirectServer(std::uint16_t port = 0);
    ~DirectServer();
    DirectServer(const DirectServer&) = delete;
    DirectServer& operator=(const DirectServer&) = delete;

    std::uint16_t port() const { return port_; }
    /// The next connection. Throws std::runtime_error when none comes within half a minute.
    LinkPtr Accept() const;

  private:
    std::uint16_t port_;
    int listener_;
};

}  // namespace plug::bench
