// The commands that scan, limit and restrict devices, as the dispatcher runs them.
#include <gtest/gtest.h>

#include "commands/dispatcher.h"
#include "subdev/scanner.h"
#include "support/home.h"
#include "support/platform_peer.h"

namespace plug {
namespace {

using namespace plug_test;

/// The whole answer to a command with a text from byte 10.
std::string Answered(std::uint8_t id, std::string_view text) {
    std::vector<std::uint8_t> command(10 + text.size());
    command[0] = 0x34;
    command[1] = 0x12;
    command[2] = id;
    std::copy(text.begin(), text.end(), command.begin() + 10);
    std::vector<std::uint8_t> answer(8192);
    std::size_t length = 0;
    EXPECT_EQ(0, ParserProtoolData(command, answer, length));
    return Hex(ConstBytes(answer).first(length));
}

TEST(RuleCommands, AnswersAndEffects) {
    EnterPrivateTmp();
    Home{.devices = {{HomeMac(0xB1), "pc"}}}.Write();
    PlatformPeer peer;
    constexpr char kLimit[] =
        R"({"LIST":[{"FLAG":"1","MAC":"00:00:5E:00:53:B1","UP":"7","DOWN":"8"},{"FLAG":"1"}]})";
    EXPECT_EQ("34 12 42 00 00 00 ", Answered(66, kLimit)) << "0 whatever the list was";
    EXPECT_EQ(2U, TakeCalls({"set_dev_us_max_bw", "set_dev_ds_max_bw"}).size());
    EXPECT_EQ("34 12 45 00 04 00 ", Answered(69, R"({"LIST":[{"FLAG":"1"}]})"));
    EXPECT_EQ("34 12 45 00 02 00 ", Answered(69, ""));
    EXPECT_EQ("34 12 45 00 00 00 ", Answered(69, "{}"));

    ASSERT_EQ(0, StartSubdev());
    EXPECT_EQ("34 12 40 00 00 00 ", Answered(64, ""));
    EXPECT_EQ(63, peer.Next().data_type);
}

}  // namespace
}  // namespace plug
