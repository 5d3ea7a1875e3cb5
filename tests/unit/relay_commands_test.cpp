// The platform's commands that the local agent answers, from command to answer.
#include "support/command.h"
#include "support/local_peer.h"

namespace plug::test {
namespace {

class RelayCommands : public LocalServer {};

/// A reply of `size` bytes: result 0, the two bytes of a count, then 1, 2, 3...
ByteVector Reply(std::size_t size, std::uint8_t count = 0) {
    ByteVector reply(size);
    for (std::size_t i = 3; i < size; ++i) reply[i] = static_cast<std::uint8_t>(i - 2);
    reply[1] = count;
    return reply;
}

TEST_F(RelayCommands, WithoutALocalAgentTheyFail) {
    const ByteVector failed = {1, 0};
    for (const std::uint8_t id : ByteVector{72, 74, 76, 78, 79, 80, 82, 83, 85, 88})
        EXPECT_EQ(failed, RunCommand(id));
    for (const std::uint8_t id : ByteVector{70, 71, 73, 75}) EXPECT_EQ((ByteVector{1, 0, 0}), RunCommand(id));
    EXPECT_EQ(10U, RunCommand(77).size());
}

TEST_F(RelayCommands, ValuesPassBothWays) {
    const AnsweringPeer peer([](const LocalPeer::Frame& request) -> ByteVector {
        switch (request.func_id) {
            case 70:
                return {0, request.payload[0]};
            case 77:
                return {0, 201, 202};
            case 76:
                return {static_cast<std::uint8_t>(request.payload == ByteVector{4, 60} ? 0 : 9)};
            case 82: {  // the index as it came, the address in host order
                const ByteVector& wan = request.payload;
                return {static_cast<std::uint8_t>(
                    wan.size() == 228 && wan[0] == 2 && wan[205] == 1 && wan[208] == 192 ? 0 : 9)};
            }
            case 88:
                return {static_cast<std::uint8_t>(request.payload.size() > 14 ? 3 : 9)};
            default:
                return {0, static_cast<std::uint8_t>(request.func_id)};
        }
    });
    EXPECT_EQ((ByteVector{0, 0, 8}), RunCommand(70, ByteVector{8}));
    EXPECT_EQ((ByteVector{1, 0, 0}), RunCommand(70, ByteVector{9})) << "no such band";
    EXPECT_EQ((ByteVector{0, 0, 71}), RunCommand(71));
    EXPECT_EQ((ByteVector{0, 0}), RunCommand(76, ByteVector{4, 60}));
    EXPECT_EQ((ByteVector{0, 0, 201, 0, 0, 0, 202, 0, 0, 0}), RunCommand(77));
    ByteVector wan(228);
    wan[0] = 2;
    wan[205] = 192;
    wan[208] = 1;
    EXPECT_EQ((ByteVector{0, 0}), RunCommand(82, wan));
    ByteVector settings = ToBytes("..{\"referNum\":5}");
    settings[0] = 14;
    settings[1] = 0;
    EXPECT_EQ((ByteVector{3, 0}), RunCommand(88, settings));
    settings[1] = 4;
    EXPECT_EQ((ByteVector{1, 0}), RunCommand(88, settings)) << "1038 bytes are too many";
}

TEST_F(RelayCommands, LargeReplies) {
    static ByteVector reply;  // written while no request is under way
    const AnsweringPeer peer([](const LocalPeer::Frame&) { return reply; });
    const ByteVector failed = {1, 0};
    const auto passed = [] {
        ByteVector answer = {0, 0, static_cast<std::uint8_t>(reply.size() - 1),
                             static_cast<std::uint8_t>((reply.size() - 1) >> 8)};
        answer.insert(answer.end(), reply.begin() + 1, reply.end());
        return answer;
    };
    reply = Reply(10);
    EXPECT_EQ(failed, RunCommand(78));
    EXPECT_EQ(failed, RunCommand(80));
    reply = Reply(11);
    EXPECT_EQ(passed(), RunCommand(78));
    EXPECT_EQ(passed(), RunCommand(80));
    reply = Reply(2049);
    EXPECT_EQ(failed, RunCommand(80));
    reply = Reply(4000);
    EXPECT_EQ(passed(), RunCommand(78));
    reply = {6};
    EXPECT_EQ((ByteVector{6, 0}), RunCommand(78));

    reply = Reply(79, 1);
    EXPECT_EQ(failed, RunCommand(79));
    reply = Reply(3 + 2 * 77, 2);
    const ByteVector listed = RunCommand(79);
    ASSERT_EQ(4U + 2 * 77, listed.size());
    EXPECT_EQ((ByteVector{0, 0, 2, 0, 1, 2}), ByteVector(listed.begin(), listed.begin() + 6));
    EXPECT_EQ(2 * 77, listed.back());
    reply.pop_back();
    EXPECT_EQ(failed, RunCommand(79)) << "the second neighbour is not complete";
}

}  // namespace
}  // namespace plug::test
