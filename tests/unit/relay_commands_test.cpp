// The platform's commands that the local peer answers, from command to answer.
#include <atomic>

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

TEST_F(RelayCommands, WithoutALocalPeerTheyFail) {
    for (const int id : {72, 74, 76, 78, 79, 80, 82, 83, 85, 88})
        EXPECT_EQ("0100", ToHex(RunCommand(id))) << id;
    for (const int id : {70, 71, 73, 75}) EXPECT_EQ("010000", ToHex(RunCommand(id))) << id;
    EXPECT_EQ("0100" + std::string(16, '0'), ToHex(RunCommand(77)));
}

TEST_F(RelayCommands, ValuesPassBothWays) {
    std::atomic<bool> mesh_works{true};
    TestPeer peer([&mesh_works](const PeerEvent& request) -> ByteVector {
        const ByteVector& sent = request.payload;
        const auto fine_if = [](bool good) { return ByteVector{static_cast<std::uint8_t>(good ? 0 : 9)}; };
        switch (request.func_id) {
            case 70:
                return {0, static_cast<std::uint8_t>(sent[0] - 1)};
            case 74:
                return fine_if(sent == ByteVector{3});
            case 76:
                return fine_if(sent == ByteVector{4, 60});
            case 77:
                return mesh_works ? ByteVector{0, 201, 202} : ByteVector{9};
            case 82:  // the index as it came, the address in host order
                return fine_if(sent.size() == 228 && sent[0] == 2 && sent[205] == 1 && sent[208] == 192);
            case 88:
                return fine_if(sent.size() > 14);
            case 71:
                return {0, 171};
            default:
                return {static_cast<std::uint8_t>(request.func_id)};
        }
    });
    peer.ConnectServed();
    ByteVector wan(228);
    wan[0] = 2;
    wan[205] = 192;
    wan[208] = 1;
    const std::string settings = R"({"referNum":5})";
    const struct {
        int id;
        ByteVector parameters;
        const char* answer;
    } kRows[] = {
        {70, {9}, "000008"},
        {70, {10}, "010000"},  // no such band
        {71, {}, "0000ab"},
        {73, {}, "490000"},
        {75, {}, "4b0000"},
        {72, {1}, "4800"},
        {74, {3}, "0000"},
        {76, {4, 60}, "0000"},
        {77, {}, "0000c9000000ca000000"},
        {78, {}, "4e00"},
        {79, {}, "4f00"},
        {80, {}, "5000"},
        {82, wan, "0000"},
        {83, {}, "5300"},
        {85, {}, "5500"},
        {88, ToBytes(std::string("\x0E\0", 2) + settings), "0000"},
        {88, ToBytes("\x0E\4" + settings), "0100"},  // 1038 bytes are too many
    };
    for (const auto& [id, parameters, answer] : kRows)
        EXPECT_EQ(answer, ToHex(RunCommand(id, parameters))) << id;
    EXPECT_EQ("0000c9000000ca000000", ToHex(RunCommand(77)));
    mesh_works = false;
    EXPECT_EQ("0900" + std::string(16, '0'), ToHex(RunCommand(77))) << "nothing of the answer before";
}

TEST_F(RelayCommands, LargeReplies) {
    static ByteVector reply;  // written while no request is under way
    TestPeer peer([](const PeerEvent&) { return reply; });
    peer.ConnectServed();
    const auto passed = [](int id, std::size_t size, std::uint8_t count = 0) {
        reply = Reply(size, count);
        const std::string answer = ToHex(RunCommand(id));
        if (answer == "0100") return false;
        // 79 counts neighbours, the others bytes.
        const std::uint8_t length[] = {static_cast<std::uint8_t>(size - 1),
                                       static_cast<std::uint8_t>((size - 1) >> 8)};
        EXPECT_EQ("0000" + (id == 79 ? "" : ToHex(length)) + ToHex(ConstBytes(reply).subspan(1)), answer);
        return true;
    };
    EXPECT_FALSE(passed(78, 10) || passed(80, 10));
    EXPECT_TRUE(passed(78, 11) && passed(80, 11));
    EXPECT_TRUE(passed(80, 2048) && !passed(80, 2049));
    EXPECT_TRUE(passed(78, 4000));
    EXPECT_FALSE(passed(79, 79, 1));
    EXPECT_TRUE(passed(79, 3 + 2 * 77, 2));
    EXPECT_FALSE(passed(79, 2 + 2 * 77, 2)) << "the second neighbour is not complete";
}

}  // namespace
}  // namespace plug::test
