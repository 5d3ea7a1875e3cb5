// What the agent makes of the byte stream on a live connection: frames cut and joined in any way, foreign
// bytes between them, and frames and commands that it must refuse.
#include "fixture.h"

namespace plug::e2e {
namespace {

constexpr std::uint16_t kCpuUse = 47;  // answers 12 % in the simulated home
constexpr MacAddress kOtherAddress = {2, 3, 5, 7, 11, 13};
constexpr std::uint16_t kFailed = 0xFFFF;

class Frames : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        StartPlatform();
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
        EXPECT_EQ(kCpuUse, reply.function_id());
        EXPECT_EQ(0, reply.result());
        EXPECT_EQ(12, reply.Word(6));
    }
    /// Nothing more is on its way: the next reply is that of a last question.
    void ExpectQuiet() { Ask(kCpuUse); }
    /// The next reply must be a bare code and text.
    void ExpectReply(std::uint16_t code, std::string_view text) {
        const LinkEvent reply = AwaitReply();
        EXPECT_EQ(MsgType::kFunctionReply, reply.header.type());
        EXPECT_EQ(code, reply.code);
        EXPECT_EQ(text, reply.text()) << ToHex(reply.frame);
    }
    /// An addressed record, whatever it declares, as a frame.
    ByteVector Record(std::uint8_t data_type, std::uint16_t declared, const ByteVector& data) const {
        ByteVector header(kAddressedRecordHeader);
        ByteWriter writer(header);
        writer.Zeros(2);
        writer.U8(data_type);
        writer.Copy(kOtherAddress);
        writer.U16(declared);
        return BuildFrame(platform_->key(), MsgType::kFunctionCommand, {}, Join({header, data}));
    }
};

TEST_F(Frames, CutAndJoined) {
    ASSERT_TRUE(platform_->SendSplit(mac_, Command(kCpuUse, 1), 3, Milliseconds(40)));
    ExpectAnswer(1);
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
    ExpectQuiet();
}

TEST_F(Frames, ForeignBytesAroundThem) {
    const auto behind = [this](const ByteVector& junk, std::uint16_t head) {
        SCOPED_TRACE(ToHex(junk));
        Send(Join({junk, Command(kCpuUse, head)}));
        ExpectAnswer(head);
    };
    behind(ParseHex("00"), 1);
    behind(ByteVector(5000, 0xDD), 2);
    behind(ParseHex("0000cc"), 3);
    behind(ParseHex("ccccccdc"), 4);
    // A magic that announces more than a frame may have is refused at once; what follows is still found.
    behind(HugeHeader(), 5);
    behind(ParseHex("ccdd 14 00 00 fa1f"), 6);
    // So does a lone magic before a frame whose checksum stands where it has its length.
    std::uint16_t head = 7;
    while (Command(kCpuUse, head)[4] < 0x40) ++head;
    behind(Join({HugeHeader(), HugeHeader(), ParseHex("ccdd")}), head);
    EXPECT_TRUE(
        WaitUntil([this] { return CountLog("frame of 65797 bytes refused") >= 3; }, Milliseconds(5000)));
    ExpectLogged("frame of 8193 bytes refused");
    // A whole frame of an unknown type, and a largest one whose body is no command.
    behind(ParseHex("ccdd 00 00 00 0300 ccdd14"), 8);
    behind(BuildFrame(platform_->key(), static_cast<MsgType>(7), {}, ByteVector(8170)), 9);

    // Half a frame stays before what follows, and swallows as much of it as it announced.
    const ByteVector swallowed = Command(kCpuUse, 10);
    Send({0xCC, 0xDD, 0, 0, 0, static_cast<std::uint8_t>(swallowed.size()), 0});
    Send(swallowed);
    behind({}, 11);
    ExpectQuiet();
}

TEST_F(Frames, RefusedCommands) {
    // A bad checksum: eleven, and no body.
    Send(WithWrongChecksum(Command(kCpuUse, 1)));
    LinkEvent reply = AwaitReply();
    EXPECT_EQ("ccdd1a020b00000b00", ToHex(reply.frame));
    // A body that is nobody's cipher text.
    Send(Join({ParseHex("ccdd 14 00 00 1000"), ByteVector(16, 0x33)}));
    reply = AwaitReply();
    EXPECT_EQ("ccdd1a020b00000b00", ToHex(reply.frame));

    // Too short to be a command, with the address and DataType echoed.
    for (const std::uint16_t length : {std::uint16_t{0}, std::uint16_t{9}}) {
        Send(Record(77, length, ByteVector(length, 1)));
        reply = AwaitReply();
        EXPECT_EQ(0, reply.code);
        EXPECT_EQ("length error", reply.text());
        EXPECT_EQ(77, reply.data_type);
        EXPECT_EQ(kOtherAddress, reply.address);
    }
    Send(Record(78, 10, ParseHex("feed 2f00 0000 0000 0000")));
    reply = AwaitReply();
    EXPECT_EQ("feed2f0000000c00", ToHex(reply.data));
    EXPECT_EQ(78, reply.data_type);
    EXPECT_EQ(kOtherAddress, reply.address);

    // Unsupported: an answer with result 7 and then the error; far outside only the error.
    for (const std::uint16_t id : std::initializer_list<std::uint16_t>{62, 63, 65, 67, 68, 89, 0x7FFE}) {
        SCOPED_TRACE(id);
        Send(Command(id, 0x1234));
        reply = AwaitReply();
        EXPECT_EQ(0, reply.code);
        ASSERT_EQ(6U, reply.data.size());
        EXPECT_EQ(0x1234, reply.Word(0));
        EXPECT_EQ(id, reply.function_id());
        EXPECT_EQ(7, reply.result());
        ExpectReply(kFailed, "parser error");
    }
    for (const std::uint16_t id : std::initializer_list<std::uint16_t>{0, 0x7FFF, 0x8000, 0xFFFF}) {
        SCOPED_TRACE(id);
        Send(Command(id, 0x1234));
        ExpectReply(kFailed, "parser error");
    }
    // Accepted, with no answer.
    for (const std::uint16_t id : std::initializer_list<std::uint16_t>{40, 81, 84, 86})
        Send(Command(id, 0x1234));
    // Function replies and frames without a body are not for an agent.
    Send(BuildFrame(platform_->key(), MsgType::kFunctionReply, {}, ByteVector(40)));
    Send(BuildFrame(platform_->key(), MsgType::kFunctionCommand, ParseHex("00"), {}));
    ExpectQuiet();
}

TEST_F(Frames, AForcedDisconnectEndsIt) {
    ASSERT_TRUE(platform_->ForceDisconnect(mac_));
    EXPECT_EQ(255, AwaitExit());
    AwaitStatuses("005");
    ExpectLogged("force disconnect exit !!!!!");
}

}  // namespace
}  // namespace plug::e2e
