#include "bench/agent_link.h"

#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "bench/sockets.h"

namespace plug::bench {

AgentLink::~AgentLink() {
    close(socket);
}

bool AgentLink::Send(ConstBytes bytes) {
    const std::lock_guard guard(send_mutex_);
    return WriteAll(socket, bytes);
}

bool AgentLink::SendSplit(ConstBytes bytes, std::size_t parts, Milliseconds pause) {
    const std::lock_guard guard(send_mutex_);
    for (std::size_t part = 0; part < parts; ++part) {
        const std::size_t from = bytes.size() * part / parts;
        const std::size_t to = bytes.size() * (part + 1) / parts;
        if (part > 0) std::this_thread::sleep_for(pause);
        if (!WriteAll(socket, bytes.subspan(from, to - from))) return false;
    }
    return true;
}

bool AgentLink::Drop(bool abruptly) {
    dropped = true;
    if (!abruptly) return shutdown(socket, SHUT_RDWR) == 0;
    // A TCP socket "connected" to AF_UNSPEC sends a reset at once.
    sockaddr nowhere{};
    nowhere.sa_family = AF_UNSPEC;
    return connect(socket, &nowhere, sizeof nowhere) == 0;
}

std::optional<LinkEvent> AgentLink::CutFrame(const CipherKey& key) {
    if (received.size() < kFrameHeaderSize) return {};
    const auto take = [this](std::size_t count) {
        const auto end = received.begin() + static_cast<std::ptrdiff_t>(count);
        ByteVector taken(received.begin(), end);
        received.erase(received.begin(), end);
        return taken;
    };
    const auto bad = [&take](std::size_t count, std::string note) {
        LinkEvent event;
        event.kind = EventKind::kBadFrame;
        event.frame = take(count);
        event.note = std::move(note);
        return event;
    };
    static constexpr std::array<std::uint8_t, 2> kMagic = {kFrameMagic & 0xFF, kFrameMagic >> 8};
    const auto magic = std::search(received.begin(), received.end(), kMagic.begin(), kMagic.end());
    if (magic != received.begin())
        return bad(static_cast<std::size_t>(magic - received.begin()), "bytes that belong to no frame");
    const std::size_t size = ReadFrameHeader(received).frame_size();
    if (size > kMaxFrameSize)
        return bad(kFrameHeaderSize, "a header announcing " + std::to_string(size) + " bytes");
    if (received.size() < size) return {};
    return ReadFrame(key, take(size));
}

}  // namespace plug::bench
