// The server over its real socket, and the requests made over it.
#include "commserver/comm_server.h"

#include <sys/socket.h>
#include <sys/stat.h>

#include <thread>

#include "commserver/comm_dispatch.h"
#include "commserver/comm_request.h"
#include "commserver/comm_send.h"
#include "support/local_peer.h"

namespace plug::test {
namespace {

TEST(LocalDispatch, ValidationOrder) {
    const ByteVector byte = {0};
    ByteVector other_head = LocalFrame(88, 1, byte);
    other_head[0] = 0x5B;
    ByteVector short_frame = LocalFrame(88, 2, ByteVector(2));
    short_frame.pop_back();  // the sum of what came would be right
    std::vector<std::pair<ByteVector, const char*>> frames = {
        {LocalFrame(88, 1, {}), "Receive length error, length is 14"},
        {LocalFrame(88, 1, ByteVector(8087)), "Receive length error, length is 8101"},
        {other_head, "Receive head error."},
        {LocalFrame(88, 0, byte), "Receive  sequence error."},
        {bench::WithWrongSum(LocalFrame(88, 1, byte)), "Receive  checkSum error."},
        {LocalFrame(88, 1, byte), "Receive  sequence error."},  // the bad sum has used it up
        {short_frame, "Receive  checkSum error."}};
    for (const std::uint16_t id : std::to_array<std::uint16_t>({0, 6, 69, 87, 90, 996, 1000}))
        frames.emplace_back(LocalFrame(id, 100U + id, byte), "Error funcID");
    frames.emplace_back(LocalFrame(88, 3, byte), "");
    frames.emplace_back(LocalFrame(5, 4, byte), "");
    frames.emplace_back(LocalFrame(88, 5, ByteVector(8086, 1)), "");
    frames.emplace_back(LocalFrame(88, 6, byte), "");
    frames.back().first.push_back(7);  // what stands behind the payload does not count
    ResetDispatch();
    for (const auto& [frame, error] : frames) {
        ClearReplyReady();
        const std::string log = LogOf([&frame = frame] { HandleLocalFrame(frame); });
        EXPECT_TRUE(Contains(log, error)) << log;
        EXPECT_EQ(log.empty(), Route_Wait(0)) << ToHex(ConstBytes(frame).first(14));
        EXPECT_EQ(log.empty(), *error == '\0') << log;
    }
}

TEST(LocalReply, Storing) {
    ResetReply();
    LocalReply reply;
    const auto expect = [&reply](const ByteVector& payload, int result, int length, int first) {
        CommFuncRecv(payload);
        CopyReply(reply);
        EXPECT_EQ(std::tuple(result, length, first), std::tuple(reply.result, reply.length, reply.data[0]));
    };
    expect({0, 7, 8, 9}, 0, 4, 7);
    EXPECT_EQ("070809", ToHex(reply.payload()));
    expect({5, 1}, 5, 4, 7);  // only the result is new
    ByteVector largest(4000, 0x11);
    largest[0] = 0;
    expect(largest, 0, 4000, 0x11);
    largest.push_back(0);
    expect(largest, 1, 4000, 0x11);
    expect({0, 7}, 0, 2, 7);
    EXPECT_EQ(0, reply.data[1]) << "a text ends behind the shorter one";
}

class CommServer : public LocalServer {};

TEST_F(CommServer, TwoThreadsNeverGetEachOthersReplies) {
    TestPeer peer([](const PeerEvent& request) -> ByteVector {
        if (request.func_id == 70) return {0, static_cast<std::uint8_t>(request.payload[0] + 1)};
        return {0, 201, 202};
    });
    peer.ConnectServed();
    constexpr int kRounds = 60;
    std::thread other([] {
        for (int i = 0; i < kRounds; ++i) {
            RoamingThreshold threshold{};
            EXPECT_EQ(0U, ComF_get_mesh_roaming_threshold(threshold));
            EXPECT_EQ(201U, threshold.first);
        }
    });
    for (std::uint8_t i = 0; i < kRounds; ++i) {
        std::uint8_t out = 0;
        EXPECT_EQ(0U, ComF_get_wifi_freqband(i, out));
        EXPECT_EQ(i + 1, out);
    }
    other.join();
}

TEST_F(CommServer, TheSocketIsTheOwnersAlone) {
    EXPECT_FALSE(LocalPeerSeen());
    TestPeer peer;
    peer.ConnectServed();
    WaitUntil(LocalPeerSeen);
    struct stat status {};
    ASSERT_EQ(0, stat("/tmp/CommServer", &status));
    EXPECT_EQ(0600U | S_IFSOCK, status.st_mode) << "the owner's alone";
    EXPECT_EQ(0, ComF_send_pluginstate());
    EXPECT_EQ(998, peer.Next().func_id);
}

TEST_F(CommServer, ReconnectsLeaveNothingBehind) {
    TestPeer peer;
    const std::ptrdiff_t threads = CountEntries("/proc/self/task");
    std::ptrdiff_t descriptors = 0;
    for (int i = 0; i < 30; ++i) {
        peer.ConnectServed();
        peer.Disconnect();
        WaitUntil([&] { return !peer.connected() && CountEntries("/proc/self/task") == threads; });
        if (i == 0) descriptors = CountEntries("/proc/self/fd");
    }
    EXPECT_EQ(descriptors, CountEntries("/proc/self/fd"));

    // Whoever gets the number of the last peer's socket gets none of what is for a peer.
    std::array<std::array<int, 2>, 4> others{};
    for (auto& pair : others) ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, pair.data()));
    EXPECT_EQ(1, ComF_send_pluginstate());
    for (const auto& pair : others) {
        for (const int end : pair) EXPECT_EQ(-1, recv(end, &descriptors, 1, 0));
    }
}

}  // namespace
}  // namespace plug::test
