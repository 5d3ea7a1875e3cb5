#include "support/platform_peer.h"

#include "platform/identity.h"
#include "platform/link_state.h"
#include "platform/settings.h"
#include "platform/uplink.h"

namespace plug::test {

PlatformPeer::PlatformPeer() {
    static LinkThreads threads;
    PrepareCipher();
    SetRouterIdentity(kRouter);
    SetLinkHandlers({[](const InboundFrame&) {}, [] {}});
    if (ServerInit("127.0.0.1", server_.port(), threads) != 0) throw std::runtime_error("cannot connect");
    link_ = server_.Accept();
    SetLoggedIn(true);
}

bench::LinkEvent PlatformPeer::Next() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    auto event = link_->NextFrame(PlatformSettings().key, deadline);
    if (!event) throw std::runtime_error("the agent sends nothing");
    return *event;
}

void PlatformPeer::ExpectNext(MsgType type, int data_type, std::string_view data) {
    const bench::LinkEvent frame = Next();
    EXPECT_EQ(type, frame.header.type());
    EXPECT_EQ(data_type, frame.data_type);
    EXPECT_EQ(data, frame.text());
    const bool addressed = type == MsgType::kAddressedReport || type == MsgType::kFunctionReply;
    EXPECT_EQ(addressed ? kRouter : MacAddress{}, frame.address);
}

bool PlatformPeer::NothingSent() {
    SendHeartbeat();
    return Next().kind == bench::EventKind::kHeartbeat;
}

InboundFrame FrameOf(ConstBytes bytes) {
    InboundFrame frame;
    frame.header = ReadFrameHeader(bytes);
    std::copy(bytes.begin(), bytes.end(), frame.bytes.begin());
    return frame;
}

InboundFrame PlugDataFrame(MsgType type, std::uint8_t data_type, std::string_view data) {
    return FrameOf(bench::BuildPlugData(PlatformSettings().key, type, data_type, data));
}

}  // namespace plug::test
