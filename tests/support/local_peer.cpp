#include "support/local_peer.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "commserver/comm_frame.h"
#include "commserver/comm_send.h"
#include "commserver/comm_server.h"
#include "core/paths.h"
#include "platform/link_state.h"

namespace plug::test {

ByteVector LocalFrame(std::uint16_t func_id, std::uint32_t sequence, const ByteVector& payload) {
    ByteVector frame(sizeof(LocalHeader) + payload.size());
    EXPECT_EQ(frame.size(), WriteLocalFrame(frame, func_id, sequence, payload));
    return frame;
}

LocalServer::LocalServer() {
    SetLoggedIn(true);
    EXPECT_EQ(0, CommServerStart());
}

LocalServer::~LocalServer() {
    EXPECT_EQ(0, CommServerStop());
}

LocalPeer LocalPeer::Connect() {
    int number = -1;
    WaitUntil([&number] {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::copy_n(kCommServerPath, sizeof kCommServerPath, address.sun_path);
        number = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (connect(number, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return true;
        close(number);
        return false;
    });
    return LocalPeer(number);
}

LocalPeer LocalPeer::ConnectServed() {
    for (;;) {
        LocalPeer peer = Connect();
        WaitUntil([&peer] { return CommSendCmd(1, {}) == 0 || peer.Ready(); });
        if (peer.Next()) return peer;
    }
}

std::optional<LocalPeer::Frame> LocalPeer::Next() const {
    ByteVector frame = stream_.Receive(sizeof(LocalHeader));
    if (frame.size() < sizeof(LocalHeader)) return std::nullopt;
    const LocalHeader header = ReadLocalHeader(frame);
    const ByteVector payload = stream_.Receive(header.length);
    frame.insert(frame.end(), payload.begin(), payload.end());
    EXPECT_EQ(0x5A5A, std::uint16_t{header.head});
    EXPECT_TRUE(CheckedPayload(header, frame));
    return Frame{header.func_id, header.sequence, payload};
}

AnsweringPeer::AnsweringPeer(ByteVector (*answer)(const LocalPeer::Frame&))
    : peer_(LocalPeer::ConnectServed()), thread_([this, answer] {
          while (const auto request = peer_.Next()) peer_.Send(request->func_id, answer(*request));
      }) {}

AnsweringPeer::~AnsweringPeer() {
    peer_.Shutdown();
    thread_.join();
}

}  // namespace plug::test
