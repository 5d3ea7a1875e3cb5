// An HTTP server for one request, whose answer is a list of sends.
#pragma once

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>

class HttpServer {
  public:
    using Script = std::function<void(int client)>;

    /// Listens on 127.0.0.1, or on the given address and port.
    explicit HttpServer(std::uint32_t address = INADDR_LOOPBACK, std::uint16_t port = 0) {
        listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_addr.s_addr = htonl(address);
        local.sin_port = htons(port);
        bind(listener_, reinterpret_cast<sockaddr*>(&local), sizeof local);
        listen(listener_, 1);
        socklen_t size = sizeof local;
        getsockname(listener_, reinterpret_cast<sockaddr*>(&local), &size);
        port_ = ntohs(local.sin_port);
    }
    ~HttpServer() {
        Finish();
        close(listener_);
    }

    unsigned port() const { return port_; }

    /// Takes one connection, reads its request, answers as `script` does and closes.
    void Serve(const Script& script) {
        const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        const int on = 1;
        setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        request_.clear();
        for (char c; !request_.ends_with("\r\n\r\n") && recv(client, &c, 1, 0) == 1;) request_ += c;
        script(client);
        close(client);
    }
    /// The same on a thread of its own.
    void Start(Script script) {
        Finish();
        thread_ = std::thread([this, script = std::move(script)] { Serve(script); });
    }
    void Start(std::string answer) {
        Start([answer = std::move(answer)](int client) { Send(client, answer); });
    }
    /// The request, once it is answered.
    const std::string& Finish() {
        if (thread_.joinable()) thread_.join();
        return request_;
    }

    static void Send(int client, std::string_view text) {
        while (!text.empty()) {
            const ssize_t sent = send(client, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent <= 0) return;
            text.remove_prefix(static_cast<std::size_t>(sent));
        }
    }

  private:
    int listener_ = -1;
    unsigned port_ = 0;
    std::string request_;
    std::thread thread_;
};

/// A header with a body of its length.
inline std::string HttpAnswer(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}
