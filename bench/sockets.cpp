#include "bench/sockets.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <system_error>

namespace plug::bench {

int Listen(const std::string& address, std::uint16_t& port) {
    const std::string what = "listening on " + address + ":" + std::to_string(port);
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &name.sin_addr) != 1)
        throw std::system_error(EINVAL, std::generic_category(), what);
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    if (listener < 0 || setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        bind(listener, reinterpret_cast<sockaddr*>(&name), sizeof name) != 0 ||
        listen(listener, SOMAXCONN) != 0) {
        const int error = errno;
        if (listener >= 0) close(listener);
        throw std::system_error(error, std::generic_category(), what);
    }
    port = ntohs(OwnName(listener).sin_port);
    return listener;
}

int AcceptFrom(int listener, sockaddr_in& peer) {
    socklen_t size = sizeof peer;
    const int socket =
        accept4(listener, reinterpret_cast<sockaddr*>(&peer), &size, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket < 0) return -1;
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return socket;
}

int ConnectTo(const std::string& path) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    if (path.size() >= sizeof name.sun_path) return -1;
    path.copy(name.sun_path, path.size());
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket >= 0 && connect(socket, reinterpret_cast<sockaddr*>(&name), sizeof name) == 0) return socket;
    if (socket >= 0) close(socket);
    return -1;
}

bool Readable(int socket, std::chrono::steady_clock::time_point deadline) {
    const auto left = deadline - std::chrono::steady_clock::now();
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    pollfd polled{socket, POLLIN, 0};
    return poll(&polled, 1, static_cast<int>(std::max<std::int64_t>(milliseconds, 0))) == 1;
}

bool WriteAll(int socket, ConstBytes bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(sent));
            continue;
        }
        if (errno == EINTR) continue;
        if (errno != EAGAIN) return false;
        pollfd writable{socket, POLLOUT, 0};
        if (poll(&writable, 1, 5000) != 1) return false;
    }
    return true;
}

sockaddr_in OwnName(int socket) {
    sockaddr_in name{};
    socklen_t size = sizeof name;
    getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size);
    return name;
}

std::string AddressText(const sockaddr_in& name) {
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &name.sin_addr, text.data(), text.size());
    return std::string(text.data()) + ":" + std::to_string(ntohs(name.sin_port));
}

}  // namespace plug::bench
