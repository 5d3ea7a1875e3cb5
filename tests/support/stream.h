// The test's end of a stream socket, and where it is accepted.
#pragma once

#include <utility>

#include "support/text.h"

namespace plug::test {

class Stream {
  public:
    Stream() = default;
    explicit Stream(int socket) : socket_(socket) {}
    ~Stream() { Close(); }
    Stream(Stream&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
    Stream& operator=(Stream&& other) noexcept {
        std::swap(socket_, other.socket_);
        return *this;
    }

    /// The next `count` bytes, waiting for half a minute; fewer when the other end closes or no more come.
    ByteVector Receive(std::size_t count) const;
    /// Something can be read: bytes or the end.
    bool Ready() const { return Readable(0); }
    /// Sends all of it; what the other end does not take is lost.
    void Send(ConstBytes bytes) const;

    void Close();
    /// Ends the connection without taking the descriptor from a thread that reads it.
    void Shutdown() const;

  private:
    bool Readable(int milliseconds) const;

    int socket_ = -1;
};

class Listener {
  public:
    /// Port 0: one that is free.
    explicit Listener(std::uint16_t port = 0, const std::string& address = "127.0.0.1");
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    std::uint16_t port() const { return port_; }
    /// The next connection; throws when none comes within half a minute.
    Stream Accept() const;

  private:
    std::uint16_t port_;
    int socket_;
};

}  // namespace plug::test
