// The other end of the local socket, played by the test.
#pragma once

#include <optional>
#include <thread>

#include "support/sandbox.h"
#include "support/stream.h"

namespace plug::test {

ByteVector LocalFrame(std::uint16_t func_id, std::uint32_t sequence, const ByteVector& payload);

/// The agent's end of it: served while the test runs, and the platform logged in.
class LocalServer : public Sandbox {
  protected:
    LocalServer();
    ~LocalServer() override;
};

class LocalPeer : public Stream {
  public:
    struct Frame {
        std::uint16_t func_id = 0;
        std::uint32_t sequence = 0;
        ByteVector payload;
        std::string_view text() const { return AsText(payload); }
    };

    using Stream::Stream;

    /// Connects until the server has made this its client.
    static LocalPeer ConnectServed();

    /// The next frame, header checked; none when the server closed.
    std::optional<Frame> Next() const;
    using Stream::Send;
    void Send(std::uint16_t func_id, const ByteVector& payload) {
        Send(LocalFrame(func_id, ++sequence_, payload));
    }

  private:
    std::uint32_t sequence_ = 0;
};

/// Answers every request by `answer` on a thread of its own until it is destroyed.
class AnsweringPeer {
  public:
    explicit AnsweringPeer(ByteVector (*answer)(const LocalPeer::Frame&));
    ~AnsweringPeer();

  private:
    LocalPeer peer_;
    std::thread thread_;
};

}  // namespace plug::test
