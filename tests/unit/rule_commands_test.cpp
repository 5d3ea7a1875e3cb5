// The commands that scan, limit and restrict devices, as the dispatcher runs them.
#include "subdev/scanner.h"
#include "support/command.h"
#include "support/home.h"
#include "support/platform_peer.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

class RuleCommands : public Sandbox {};

/// The code of the answer to a command with a text; it has no payload.
int Answered(std::uint8_t id, std::string_view text) {
    const ByteVector answer = RunCommand(id, AsBytes(text));
    EXPECT_EQ(2U, answer.size());
    return ByteReader(answer).U16();
}

TEST_F(RuleCommands, AnswersAndEffects) {
    Home{.devices = {{HomeMac(0xB1), "pc"}}}.Write();
    PlatformPeer peer;
    constexpr char kLimit[] =
        R"({"LIST":[{"FLAG":"1","MAC":"00:00:5E:00:53:B1","UP":"7","DOWN":"8"},{"FLAG":"1"}]})";
    EXPECT_EQ(0, Answered(66, kLimit)) << "0 whatever the list was";
    EXPECT_EQ(2U, TakeSdkCalls({"set_dev_us_max_bw", "set_dev_ds_max_bw"}).size());
    EXPECT_EQ(4, Answered(69, R"({"LIST":[{"FLAG":"1"}]})"));
    EXPECT_EQ(2, Answered(69, ""));
    EXPECT_EQ(0, Answered(69, "{}"));

    ASSERT_EQ(0, StartSubdev());
    EXPECT_EQ(0, Answered(64, ""));
    EXPECT_EQ(63, peer.Next().data_type);
}

}  // namespace
}  // namespace plug::test
