// The HTTP server of the page. It can run any command, so it listens on loopback only, and answers nobody but
// a page of its own: a request with another Host or Origin is refused.
#pragma once

#include <memory>

#include "bench/web/feed.h"

namespace plug::bench {

/// What the page asks for, by threads of the server.
struct PageHandlers {
    /// The commands with their forms.
    std::function<Json()> commands;
    /// Runs a line and tells what came of it.
    std::function<Json(const std::string& line)> run;
    /// Ends that line if it is the one that runs.
    std::function<Json(const std::string& line)> cancel;
};

class PageServer {
  public:
    /// Binds and listens; port 0 lets the system pick. Starts no thread, so that a sandbox may be entered
    /// behind it: the port stays outside. Throws std::runtime_error.
    explicit PageServer(std::uint16_t port);
    ~PageServer();
    PageServer(const PageServer&) = delete;
    PageServer& operator=(const PageServer&) = delete;

    std::uint16_t port() const;
    /// Answers from now on, until it is stopped. The feed must outlive it.
    void Serve(Feed& feed, PageHandlers handlers);
    void Stop();

  private:
    struct Http;
    std::unique_ptr<Http> http_;
};

/// Whether a request with these headers comes from the page itself, or from no page at all; empty: no header.
/// The port may be another one than the server's, as that of a tunnel.
bool FromOwnPage(const std::string& host, const std::string& origin);

}  // namespace plug::bench
