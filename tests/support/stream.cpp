#include "support/stream.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/sockets.h"

namespace plug::test {
namespace {

constexpr int kPatience = 30'000;

bool WaitReadable(int socket, int milliseconds) {
    pollfd waited{socket, POLLIN, 0};
    return poll(&waited, 1, milliseconds) == 1;
}

}  // namespace

ByteVector Stream::Receive(std::size_t count) const {
    ByteVector bytes(count);
    std::size_t got = 0;
    while (got < count && WaitReadable(socket_, kPatience)) {
        const ssize_t received = recv(socket_, bytes.data() + got, count - got, 0);
        if (received <= 0) break;
        got += static_cast<std::size_t>(received);
    }
    bytes.resize(got);
    return bytes;
}

bool Stream::Ready() const {
    return WaitReadable(socket_, 0);
}

void Stream::Send(ConstBytes bytes) const {
    bench::WriteAll(socket_, bytes);
}

void Stream::Close() {
    if (socket_ >= 0) close(socket_);
    socket_ = -1;
}

void Stream::Shutdown() const {
    shutdown(socket_, SHUT_RDWR);
}

Listener::Listener(std::uint16_t port, const std::string& address)
    : port_(port), socket_(bench::Listen(address, port_)) {}

Listener::~Listener() {
    close(socket_);
}

Stream Listener::Accept() const {
    sockaddr_in peer{};
    const int socket = WaitReadable(socket_, kPatience) ? bench::AcceptFrom(socket_, peer) : -1;
    if (socket < 0) throw std::runtime_error("nobody connects");
    return Stream(socket);
}

void HttpServer::Start(const std::string& answer) {
    Finish();
    thread_ = std::thread([this, answer] {
        const Stream client = Accept();
        request_.clear();
        while (!request_.ends_with("\r\n\r\n")) {
            const ByteVector next = client.Receive(1);
            if (next.empty()) break;
            request_ += static_cast<char>(next[0]);
        }
        client.Send(AsBytes(answer));
    });
}

const std::string& HttpServer::Finish() {
    if (thread_.joinable()) thread_.join();
    return request_;
}

std::string HttpAnswer(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace plug::test
