// The platform's end of a logged-in link, over a real connection: what the agent sends, decoded.
#pragma once

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "platform/link_state.h"
#include "platform/session.h"
#include "platform/settings.h"
#include "platform/uplink.h"

namespace plug_test {

inline constexpr plug::MacAddress kRouter = {2, 0, 0, 0, 0, 1};

inline std::string Hex(plug::ConstBytes bytes) {
    std::string text(bytes.size() * 3, ' ');
    (void)plug::HexPairs(bytes, text);
    return text;
}

struct PeerReport {
    plug::MsgType type{};
    std::uint8_t data_type = 0;
    plug::MacAddress address{};
    std::vector<std::uint8_t> data;
};

/// Connects the agent's link to itself; it stays up until the process ends.
class PlatformPeer {
  public:
    PlatformPeer() {
        const int listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (bind(listener, generic, size) != 0 || listen(listener, 1) != 0 ||
            getsockname(listener, generic, &size) != 0)
            throw std::runtime_error("cannot listen");
        plug::SetRouterIdentity(kRouter);
        if (plug::ServerInit("127.0.0.1", ntohs(address.sin_port), threads_) != 0)
            throw std::runtime_error("cannot connect");
        peer_ = accept(listener, nullptr, nullptr);
        plug::SetLoggedIn(true);
    }
    PlatformPeer(const PlatformPeer&) = delete;
    PlatformPeer& operator=(const PlatformPeer&) = delete;

    PeerReport Next() {
        const std::vector<std::uint8_t> header_bytes = Read(plug::kFrameHeaderSize);
        const plug::FrameHeader header = plug::ReadFrameHeader(header_bytes);
        (void)Read(header.head_length);
        const std::vector<std::uint8_t> body = Read(header.body_length);
        std::vector<std::uint8_t> plain(body.size());
        std::size_t length = 0;
        plug::ConstBytes stripped;
        PeerReport report;
        report.type = header.type();
        if (body.empty()) return report;
        if (plug::aes_decrypt(plug::PlatformSettings().key, body, plain, length) != 0 ||
            !plug::WithoutPadding(plug::ConstBytes(plain).first(length), stripped))
            throw std::runtime_error("cannot decrypt");
        const plug::DataRecord record =
            plug::ReadDataRecord(stripped, report.type == plug::MsgType::kAddressedReport);
        report.data_type = record.data_type;
        report.address = record.address;
        report.data.assign(record.data.begin(), record.data.end());
        return report;
    }

    /// True when the agent has sent nothing that was not read: a marker comes next.
    bool NothingSent() {
        plug::SendHeartbeat();
        return Next().type == plug::MsgType::kHeartbeat;
    }

  private:
    std::vector<std::uint8_t> Read(std::size_t count) {
        std::vector<std::uint8_t> bytes(count);
        std::size_t filled = 0;
        while (filled < count) {
            pollfd waited{peer_, POLLIN, 0};
            if (poll(&waited, 1, 30'000) != 1) throw std::runtime_error("the agent sent nothing");
            const ssize_t received = recv(peer_, bytes.data() + filled, count - filled, 0);
            if (received <= 0) throw std::runtime_error("the agent closed the link");
            filled += static_cast<std::size_t>(received);
        }
        return bytes;
    }

    plug::LinkThreads threads_;
    int peer_ = -1;
};

}  // namespace plug_test
