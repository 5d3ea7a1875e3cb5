// What the agent makes of the byte stream on a live connection: frames cut and joined in any way, foreign
// bytes between them, and frames and commands that it must refuse.
#include "fixture.h"

namespace plug::e2e {
namespace {

class Frames : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        LogIn();
    }

    ByteVector Command(std::uint16_t id, std::uint16_t head) const {
        return BuildCommand(platform_->key(), id, {}, mac_, head);
    }
    void Send(const ByteVector& bytes) { ASSERT_TRUE(platform_->SendBytes(mac_, bytes)); }
    /// The next reply must be the answer to that command.
    void ExpectAnswer(std::uint16_t head) {
        const LinkEvent reply = AwaitReply();
        ASSERT_EQ(8U, reply.data.size()) << ToHex(reply.frame);
        EXPECT_EQ(head, reply.Word(0));
        EXPECT_EQ(12, reply.Word(6));
    }
};

TEST_F(Frames, AreFoundHoweverTheyAreCutAndJoined) {
    const ByteVector bytewise = Command(kCpuUse, 2);
    ASSERT_TRUE(platform_->SendSplit(mac_, bytewise, bytewise.size(), Milliseconds(2)));
    ExpectAnswer(2);

    // Many in one write, more than one read takes, the last one cut; its rest comes with the next.
    ByteVector joined;
    for (std::uint16_t head = 100; head < 160; ++head) joined = Join({joined, Command(kCpuUse, head)});
    const std::size_t cut = joined.size() - 9;
    Send({joined.begin(), joined.begin() + static_cast<std::ptrdiff_t>(cut)});
    for (std::uint16_t head = 100; head < 159; ++head) ExpectAnswer(head);
    Send(Join({ConstBytes(joined).subspan(cut), Command(kCpuUse, 160)}));
    ExpectAnswer(159);
    ExpectAnswer(160);

    // Foreign bytes, and a header that announces more than a frame may have.
    std::uint16_t head = 200;
    for (const ByteVector& junk : {ByteVector(5000, 0xDD), ParseHex("ccccccdc"), HugeHeader()}) {
        Send(Join({junk, Command(kCpuUse, ++head)}));
        ExpectAnswer(head);
    }
    ExpectLogged("frame of 65797 bytes refused");
    ExpectAnswers();
}

TEST_F(Frames, RefusedOnesAreToldAndTheNextIsServed) {
    Send(WithWrongChecksum(Command(kCpuUse, 1)));
    EXPECT_EQ("ccdd1a020b00000b00", ToHex(AwaitReply().frame));
    // A partial answer first, then the error.
    Send(Command(62, 0x1234));
    EXPECT_EQ(7, AwaitReply().result());
    const LinkEvent reply = AwaitReply();
    EXPECT_EQ(0xFFFF, reply.code);
    EXPECT_EQ("parser error", reply.text());
    Send(Command(40, 0x1234));  // accepted, with no answer
    ExpectAnswers();
}

TEST_F(Frames, AForcedDisconnectEndsIt) {
    ASSERT_TRUE(platform_->ForceDisconnect(mac_));
    EXPECT_EQ(255, AwaitExit());
    AwaitStatuses("005");
    ExpectLogged("force disconnect exit !!!!!");
}

using Answers = AgentTest;

// 505 LAN ports are 8088 bytes, 506 are 8104.
TEST_F(Answers, ThatNoFrameCarriesAreAResult) {
    constexpr std::uint16_t kLanFlows = 12;
    for (const auto& [ports, result] : {std::pair(505, 0), {506, 1}}) {
        setup_.router =
            R"({"router": {"mac": "00:00:5E:00:53:01", "serial_number": "S1"}, "counts": {"get_lan_num": )" +
            std::to_string(ports) + "}}";
        LogIn();
        const LinkEvent answer = Ask(kLanFlows);
        EXPECT_EQ(result, answer.result());
        EXPECT_EQ(result == 0 ? 8088U : 6U, answer.data.size());
    }
}

// The rules' commands do not wait for the library, however long it takes for its devices.
TEST_F(Answers, OfRulesComeWhileTheLibraryIsSlow) {
    constexpr std::uint16_t kScan = 64, kLimits = 66, kWindows = 69;
    setup_.router =
        R"({"router": {"mac": "00:00:5E:00:53:01", "serial_number": "S1"},
                        "delays": {"get_devs_cfg": 60000000}})";
    RunFast(30);
    LogIn();
    EXPECT_EQ(0, Ask(kScan).result());
    Await(EventKind::kHeartbeat);  // by then the scan waits for it, and the look at the windows
    EXPECT_EQ(0, Ask(kLimits, AsBytes(R"({"LIST":[]})")).result());
    const std::string window = R"({"LIST":[{"FLAG":"%","MAC":"00:00:5E:00:53:B1","DAY":"3","START":"8:00",)"
                               R"("STOP":"9:00","ALLOW":"1"}]})";
    for (const char flag : {'1', '0', '0'}) {
        std::string element = window;
        element[element.find('%')] = flag;
        Ask(kWindows, AsBytes(element));
    }
}

}  // namespace
}  // namespace plug::e2e
