// The local frame, the ring of received frames, and what is sent for each FuncID.
#include "commserver/comm_frame.h"

#include <sys/socket.h>

#include "commserver/comm_queue.h"
#include "commserver/comm_send.h"
#include "core/version.h"
#include "platform/link_state.h"
#include "support/local_peer.h"

namespace plug::test {
namespace {

TEST(LocalFrame, GoldenBytes) {
    EXPECT_EQ("5a5a4c000403020103000000ff01ffff01",
              ToHex(LocalFrame(76, 0x01020304, ByteVector{0xFF, 0xFF, 0x01})));
    EXPECT_EQ("5a5a010001000000000000000000", ToHex(LocalFrame(1, 1, {})));
    EXPECT_EQ(300U * 0xFF % 65536,
              std::uint16_t{ReadLocalHeader(LocalFrame(88, 1, ByteVector(300, 0xFF))).check_sum});
}

TEST(CommRQ, Limits) {
    CommRQ queue;
    ASSERT_EQ(0, queue.Create(10, 8200));
    EXPECT_EQ(-7, queue.Push(ConstBytes(ByteVector(1)).first(0)));
    EXPECT_EQ(-6, queue.Push(ByteVector(8193)));
    EXPECT_EQ(0, queue.Push(ByteVector(8192, 7)));
    EXPECT_EQ(8192U, queue.Pop().size());
    EXPECT_TRUE(queue.IsEmpty());
}

TEST(CommRQ, APoppedSlotStaysWhileOthersFill) {
    CommRQ queue;
    ASSERT_EQ(0, queue.Create(10, 100));
    std::uint8_t in = 0;
    const auto fill = [&] {
        while (queue.Push(ByteVector(1U + in % 92, in)) == 0) ++in;
    };
    fill();
    EXPECT_EQ(9, in) << "one slot stays free";
    EXPECT_TRUE(queue.IsFull());
    EXPECT_EQ(-2, queue.Push(ByteVector(1)));
    for (std::uint8_t out = 0; out < 25; ++out) {
        const ConstBytes popped = queue.Pop();
        fill();
        EXPECT_EQ(ToHex(ByteVector(1U + out % 92, out)), ToHex(popped));
    }
}

class CommSend : public testing::Test {
  protected:
    CommSend() {
        ResetCommSend();
        int ends[2];
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
        SetLocalPeer(ends[0]);
        peer_.Adopt(ends[1]);
    }
    ~CommSend() override { CloseLocalPeer(); }

    TestPeer peer_;
};

TEST_F(CommSend, PayloadByFuncId) {
    const ByteVector data = {0x10, 0x20, 0x30};
    const std::pair<std::vector<std::uint16_t>, ByteVector> sends[] = {
        {{1, 2, 3, 4}, {}},
        {{5}, {0x10, 0x20}},
        {{70, 72, 74, 76, 82, 88, 999}, data},
        {{71, 73, 75, 77, 78, 79, 80, 83, 85, 997}, {'i'}}};
    std::uint32_t sequence = 0;
    for (const auto& [ids, payload] : sends) {
        for (const std::uint16_t id : ids) {
            ASSERT_EQ(0, CommSendCmd(id, data)) << id;
            const PeerEvent received = peer_.Next();
            EXPECT_EQ(id, received.func_id);
            EXPECT_EQ(++sequence, received.sequence);
            EXPECT_EQ(payload, received.payload) << id;
        }
    }
}

TEST_F(CommSend, RefusalsAndThePluginState) {
    for (const std::uint16_t id : std::to_array<std::uint16_t>({0, 1001, 6, 40, 81, 87, 1000}))
        EXPECT_EQ(-1, CommSendCmd(id, ByteVector(1))) << id;
    EXPECT_EQ(-1, CommSendCmd(88, ByteVector(1487)));
    EXPECT_EQ(0, CommSendCmd(88, ByteVector(1486)));
    const PeerEvent received = peer_.Next();
    EXPECT_EQ(1486U, received.payload.size());
    EXPECT_EQ(7U, received.sequence) << "a refused FuncID of 1 to 1000 has used a number up";
    for (const bool online : {false, true}) {
        SetLoggedIn(online);
        EXPECT_EQ(0, CommSendCmd(998, {}));
        EXPECT_EQ(std::string(R"({"pluginState":")") + (online ? "online" : "offline") +
                      R"(","pluginVersion":")" + kDatedVersion + "\"}",
                  peer_.Next().text());
    }
    CloseLocalPeer();
    EXPECT_EQ(-1, CommSendCmd(1, {}));
}

}  // namespace
}  // namespace plug::test
