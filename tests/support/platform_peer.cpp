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
    if (ServerInit("127.0.0.1", listener_.port(), threads) != 0) throw std::runtime_error("cannot connect");
    stream_ = listener_.Accept();
    SetLoggedIn(true);
}

bench::LinkEvent PlatformPeer::Next() {
    ByteVector frame = stream_.Receive(kFrameHeaderSize);
    if (frame.size() < kFrameHeaderSize) throw std::runtime_error("the agent sends nothing");
    const FrameHeader header = ReadFrameHeader(frame);
    const ByteVector rest = stream_.Receive(header.head_length + std::size_t{header.body_length});
    frame.insert(frame.end(), rest.begin(), rest.end());
    bench::LinkEvent event = bench::ReadFrame(PlatformSettings().key, std::move(frame));
    if (event.kind == bench::EventKind::kBadFrame) throw std::runtime_error("bad frame: " + event.note);
    return event;
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

InboundFrame PlugDataFrame(MsgType type, std::uint8_t data_type, std::string_view data) {
    const ByteVector bytes = bench::BuildPlugData(PlatformSettings().key, type, data_type, data);
    InboundFrame frame;
    frame.header = ReadFrameHeader(bytes);
    std::copy(bytes.begin(), bytes.end(), frame.bytes.begin());
    return frame;
}

}  // namespace plug::test
