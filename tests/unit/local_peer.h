// The other end of the local socket, played by the test.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "commserver/comm_frame.h"
#include "commserver/comm_send.h"
#include "core/paths.h"

namespace plug::test {

using ByteVector = std::vector<std::uint8_t>;

inline ByteVector ToBytes(std::string_view text) {
    return {text.begin(), text.end()};
}

/// A /tmp of this process's own: the socket's path is fixed, and other processes use it too.
inline bool EnterPrivateTmp() {
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", "/tmp", "tmpfs", 0, nullptr) == 0;
}

/// Tries until `condition` holds, for half a minute at most.
template <class Condition>
bool Eventually(Condition condition) {
    using namespace std::chrono_literals;
    const auto limit = std::chrono::steady_clock::now() + 30s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

inline ByteVector LocalFrame(std::uint16_t func_id, std::uint32_t sequence, const ByteVector& payload) {
    ByteVector frame(sizeof(LocalHeader) + payload.size());
    EXPECT_EQ(frame.size(), WriteLocalFrame(frame, func_id, sequence, payload));
    return frame;
}

struct Received {
    std::uint16_t func_id = 0;
    std::uint32_t sequence = 0;
    ByteVector payload;
};

class LocalPeer {
  public:
    explicit LocalPeer(int socket) : socket_(socket) {}
    ~LocalPeer() { Close(); }
    LocalPeer(LocalPeer&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
    LocalPeer(const LocalPeer&) = delete;

    static LocalPeer Connect() {
        int socket_number = -1;
        EXPECT_TRUE(Eventually([&socket_number] {
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            std::copy_n(kCommServerPath, sizeof kCommServerPath, address.sun_path);
            socket_number = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
            if (connect(socket_number, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
                return true;
            close(socket_number);
            return false;
        }));
        return LocalPeer(socket_number);
    }

    /// Connects until the server has made this its client.
    static LocalPeer ConnectServed() {
        for (;;) {
            LocalPeer peer = Connect();
            if (Eventually([&peer] { return CommSendCmd(1, {}) == 0 || peer.Ready(); }) && peer.Next())
                return peer;
        }
    }

    /// Something can be read: bytes or the end.
    bool Ready() const {
        pollfd waited{socket_, POLLIN, 0};
        return poll(&waited, 1, 0) == 1;
    }

    /// The next frame, header checked; none when the server closed.
    std::optional<Received> Next() const {
        ByteVector frame(sizeof(LocalHeader));
        if (!ReadAll(frame.data(), frame.size())) return std::nullopt;
        const LocalHeader header = ReadLocalHeader(frame);
        frame.resize(sizeof header + header.length);
        if (!ReadAll(frame.data() + sizeof header, header.length)) return std::nullopt;
        EXPECT_EQ(0x5A5A, std::uint16_t{header.head});
        EXPECT_TRUE(CheckedPayload(header, frame));
        return Received{header.func_id, header.sequence, {frame.begin() + sizeof header, frame.end()}};
    }

    void Send(const ByteVector& bytes) const {
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()),
                  send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }
    void Send(std::uint16_t func_id, const ByteVector& payload) {
        Send(LocalFrame(func_id, ++sequence_, payload));
    }

    void Close() {
        if (socket_ >= 0) close(socket_);
        socket_ = -1;
    }
    /// Ends the connection without taking the descriptor from a thread that reads it.
    void Shutdown() const { shutdown(socket_, SHUT_RDWR); }

  private:
    bool ReadAll(std::uint8_t* out, std::size_t size) const {
        return size == 0 || recv(socket_, out, size, MSG_WAITALL) == static_cast<ssize_t>(size);
    }

    int socket_;
    std::uint32_t sequence_ = 0;
};

/// Answers every request by `answer` on a thread of its own until the connection is shut down.
class AnsweringPeer {
  public:
    explicit AnsweringPeer(ByteVector (*answer)(const Received&))
        : peer_(LocalPeer::ConnectServed()), thread_([this, answer] {
              while (const auto request = peer_.Next()) peer_.Send(request->func_id, answer(*request));
          }) {}
    ~AnsweringPeer() {
        peer_.Shutdown();
        thread_.join();
    }

  private:
    LocalPeer peer_;
    std::thread thread_;
};

}  // namespace plug::test
