#include "bench/agent_link.h"

#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "bench/interruption.h"
#include "bench/sockets.h"

namespace plug::bench {

AgentLink::~AgentLink() {
    TellClosed(false, false);
    close(socket);
}

void AgentLink::Watch(Tap watcher, const sockaddr_in& agent) {
    tap_ = std::move(watcher);
    wire_ = {Socket::kPlatform, number, agent, OwnName(socket)};
    Tell({wire_, Passage::kOpened});
}

void AgentLink::TellClosed(bool by_agent, bool reset) {
    if (!told_closed_.exchange(true)) Tell({wire_, Passage::kClosed, {}, by_agent, reset});
}

void AgentLink::Tell(Passed passed) const {
    if (!tap_) return;
    passed.mac = mac;
    tap_(passed);
}

bool AgentLink::Write(ConstBytes bytes) {
    Tell({wire_, Passage::kToAgent, bytes});
    return WriteAll(socket, bytes);
}

bool AgentLink::Send(ConstBytes bytes) {
    const std::lock_guard guard(send_mutex_);
    return Write(bytes);
}

bool AgentLink::SendSplit(ConstBytes bytes, std::size_t parts, Milliseconds pause) {
    const std::lock_guard guard(send_mutex_);
    for (std::size_t part = 0; part < parts; ++part) {
        const std::size_t from = bytes.size() * part / parts;
        const std::size_t to = bytes.size() * (part + 1) / parts;
        try {
            if (part > 0) PauseFor(pause);
        } catch (const Interrupted&) {
            Write(bytes.subspan(from));  // else the next frame would begin inside this one
            throw;
        }
        if (!Write(bytes.subspan(from, to - from))) return false;
    }
    return true;
}

bool AgentLink::Drop(bool abruptly) {
    dropped = true;
    TellClosed(false, abruptly);
    if (!abruptly) return shutdown(socket, SHUT_RDWR) == 0;
    // A TCP socket "connected" to AF_UNSPEC sends a reset at once.
    sockaddr nowhere{};
    nowhere.sa_family = AF_UNSPEC;
    return connect(socket, &nowhere, sizeof nowhere) == 0;
}

ssize_t AgentLink::Receive() {
    std::array<std::uint8_t, 16384> chunk;
    const ssize_t got = recv(socket, chunk.data(), chunk.size(), 0);
    if (got <= 0) return got;
    received.insert(received.end(), chunk.begin(), chunk.begin() + got);
    Tell({wire_, Passage::kFromAgent, ConstBytes(chunk).first(static_cast<std::size_t>(got))});
    return got;
}

bool AgentLink::Await(TimePoint deadline) {
    return Readable(socket, deadline) && Receive() > 0;
}

ByteVector AgentLink::Take(std::size_t count) {
    const auto end = received.begin() + static_cast<std::ptrdiff_t>(count);
    ByteVector taken(received.begin(), end);
    received.erase(received.begin(), end);
    return taken;
}

ByteVector AgentLink::AwaitBytes(std::size_t count, TimePoint deadline) {
    while (received.size() < count && Await(deadline)) {
    }
    return Take(std::min(count, received.size()));
}

std::optional<LinkEvent> AgentLink::CutFrame(const CipherKey& key) {
    const auto piece = FirstPiece(received);
    if (!piece) return {};
    if (piece->note.empty()) return ReadFrame(key, Take(piece->size));
    LinkEvent event;
    event.kind = EventKind::kBadFrame;
    event.frame = Take(piece->size);
    event.note = piece->note;
    return event;
}

std::optional<LinkEvent> AgentLink::NextFrame(const CipherKey& key, TimePoint deadline) {
    TimePoint read_at = std::chrono::steady_clock::now();
    for (;;) {
        if (auto event = CutFrame(key)) {
            if (event->kind == EventKind::kBadFrame) throw std::runtime_error("bad frame: " + event->note);
            event->time = read_at;
            return event;
        }
        if (!Await(deadline)) return {};
        read_at = std::chrono::steady_clock::now();
    }
}

DirectServer::DirectServer(std::uint16_t port) : port_(port), listener_(Listen("127.0.0.1", port_)) {}

DirectServer::~DirectServer() {
    close(listener_);
}

LinkPtr DirectServer::Accept() const {
    sockaddr_in peer{};
    const bool came = Readable(listener_, std::chrono::steady_clock::now() + std::chrono::seconds(30));
    const int socket = came ? AcceptFrom(listener_, peer) : -1;
    if (socket < 0) throw std::runtime_error("nobody connects");
    return std::make_shared<AgentLink>(socket, 1, Server::kLogin, AddressText(peer));
}

}  // namespace plug::bench
