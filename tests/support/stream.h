// The test's end of a stream socket, where it is accepted, and an HTTP server on it.
#pragma once

#include <thread>
#include <utility>

#include "support/text.h"

namespace plug::test {

class Stream {
  public:
    Stream() = default;
    explicit Stream(int socket) : socket_(socket) {}
    ~Stream() { Close(); }
    Stream(Stream&& other) noexcept { *this = std::move(other); }
    Stream& operator=(Stream&& other) noexcept {
        std::swap(socket_, other.socket_);
        return *this;
    }

    /// The next `count` bytes, waiting for half a minute; fewer when the other end closes or no more come.
    ByteVector Receive(std::size_t count) const;
    /// Something can be read: bytes or the end.
    bool Ready() const;
    /// Sends all of it; what the other end does not take is lost.
    void Send(ConstBytes bytes) const;

    void Close();
    /// Ends the connection without taking the descriptor from a thread that reads it.
    void Shutdown() const;

  private:
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

/// Takes one request at a time and answers it.
class HttpServer : public Listener {
  public:
    using Listener::Listener;
    ~HttpServer() { Finish(); }

    /// Takes one connection, reads its request, answers and closes; on a thread of its own, once the last
    /// request is answered.
    void Start(const std::string& answer);
    /// The request, once it is answered.
    const std::string& Finish();

  private:
    std::string request_;
    std::thread thread_;
};

/// A header with a body of its length.
std::string HttpAnswer(const std::string& body);

}  // namespace plug::test
