// A small HTTP server for downloads and rate tests: one file at every path, with faults on request.
//
// The query of a request says what goes wrong, as in "/plug?early-close" or "/plug?size=1025&slow=2":
//   404           "404 Not Found"
//   no-length     no Content-Length
//   short-length  a Content-Length one less than the body
//   early-close   half of the body, then the end of the connection
//   stall         half of the body, then silence until the client goes
//   slow=<s>      the body spread over that many seconds
//   dribble       the header byte by byte, the body in odd pieces
//   size=<n>      a body of n bytes: the file's beginning, or the file over and over
//
// An unknown word gets "400 Bad Request". What the words cannot say, AnswerAs does. One thread serves one
// connection after the other.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/event_log.h"
#include "bench/poll_flag.h"

namespace plug::bench {

/// The words of a query, with their values.
using HttpWishes = std::map<std::string, std::size_t>;

/// How much of a body was sent.
struct HttpProgress {
    std::atomic<std::size_t> sent{0};
    std::atomic<std::size_t> size{0};
};

class HttpServer {
  public:
    /// Starts listening; port 0 lets the system pick. Throws std::system_error when it cannot.
    /// `progress`, when given, is kept up to date and must outlive the server.
    explicit HttpServer(std::string content, std::uint16_t port = 0, std::string address = "127.0.0.1",
                        HttpProgress* progress = nullptr);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    const std::string& content() const { return content_; }
    std::uint16_t port() const { return port_; }
    /// "http://127.0.0.1:8080/" and the rest, as "plug?slow=2".
    std::string Url(const std::string& rest = "plug") const;
    /// Answers whatever is asked with these bytes as they are, from now on; empty: as asked again.
    void AnswerAs(std::string bytes);
    /// The requests so far, each with its empty line.
    std::vector<std::string> Requests() const;
    /// The next request that was not returned here before, "" for a client that went without one. Throws
    /// std::runtime_error when none comes within half a minute.
    std::string NextRequest();

  private:
    void Serve();
    void Answer(int client);
    void SendFile(int client, const HttpWishes& wishes);
    std::string ReadRequest(int client);
    bool SendBody(int client, std::string_view body, double seconds, bool dribble);
    bool Pause(Milliseconds time) const;
    void AwaitEnd(int client) const;

    const std::string content_;
    const std::string address_;
    HttpProgress* const progress_;
    std::uint16_t port_;
    int listener_ = -1;
    PollFlag stop_;
    mutable std::mutex mutex_;  // guards what follows
    std::string fixed_answer_;
    std::vector<std::string> requests_;
    std::size_t returned_ = 0;  // of them, by NextRequest
    std::thread thread_;
};

/// The MD5 of a text, as 32 lower-case hexadecimal digits.
std::string Md5(std::string_view text);

}  // namespace plug::bench
