// The commands of the HTTP server that rate tests and updates download from.
#pragma once

#include <memory>

#include "bench/http_server.h"
#include "bench/interpreter.h"

namespace plug::bench {

class HttpCommands {
  public:
    explicit HttpCommands(Interpreter& interpreter);

    /// The server that serves now, or nullptr.
    const HttpServer* server() const { return server_.get(); }
    /// Of the latest download from any of them.
    const HttpProgress& progress() const { return progress_; }

  private:
    void Run(const Invocation& words);
    void Serve(const Invocation& words);

    Interpreter& interpreter_;
    HttpProgress progress_;
    std::unique_ptr<HttpServer> server_;
};

}  // namespace plug::bench
