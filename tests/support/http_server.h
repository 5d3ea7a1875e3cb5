// An HTTP server that takes one request at a time and answers it as a script says.
#pragma once

#include <functional>
#include <thread>

#include "support/stream.h"

namespace plug::test {

class HttpServer {
  public:
    using Script = std::function<void(const Stream& client)>;

    explicit HttpServer(std::uint16_t port = 0, const std::string& address = "127.0.0.1")
        : listener_(port, address) {}
    ~HttpServer() { Finish(); }

    std::uint16_t port() const { return listener_.port(); }

    /// Takes one connection, reads its request, answers as `script` does and closes.
    void Serve(const Script& script);
    /// The same on a thread of its own, once the last request is answered.
    void Start(Script script);
    void Start(const std::string& answer);
    /// The request, once it is answered.
    const std::string& Finish();

  private:
    Listener listener_;
    std::string request_;
    std::thread thread_;
};

/// A header with a body of its length.
std::string HttpAnswer(const std::string& body);

}  // namespace plug::test
