// The local socket in a test: served by the agent's code, and a peer that the test plays.
#pragma once

#include "bench/local_peer.h"
#include "support/sandbox.h"

namespace plug::test {

using bench::LocalFrame;
using bench::PeerEvent;

/// The agent's end of it: served while the test runs, and the platform logged in.
class LocalServer : public Sandbox {
  protected:
    LocalServer();
    ~LocalServer() override;
};

/// A peer that answers as the test says, by default nothing, and whose requests are read one by one.
class TestPeer : public bench::LocalPeer {
  public:
    using Answer = std::function<std::optional<ByteVector>(const PeerEvent& request)>;
    explicit TestPeer(const Answer& answer = [](const PeerEvent&) { return std::nullopt; });

    /// Connects until the server has made this its client.
    void ConnectServed();
    /// The next frame, which must be sound; throws when none comes.
    PeerEvent Next();
    /// What the agent has sent so far and was not read.
    std::vector<PeerEvent> Unread();
};

}  // namespace plug::test
