#include "support/local_peer.h"

#include "bench/sockets.h"
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

LocalPeer LocalPeer::ConnectServed() {
    for (;;) {
        int number = -1;
        WaitUntil([&number] { return (number = bench::ConnectTo(kCommServerPath)) >= 0; });
        LocalPeer peer(number);
        WaitUntil([&peer] { return CommSendCmd(1, {}) == 0 || peer.Ready(); });
        if (peer.Next()) return peer;
    }
}

std::optional<LocalPeer::Frame> LocalPeer::Next() const {
    ByteVector frame = Receive(sizeof(LocalHeader));
    if (frame.size() < sizeof(LocalHeader)) return std::nullopt;
    const LocalHeader header = ReadLocalHeader(frame);
    const ByteVector payload = Receive(header.length);
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
