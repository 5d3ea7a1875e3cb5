// Plug data on a live connection: MsgType 18 is answered, MsgType 25 is not.
#include "fixture.h"

namespace plug::e2e {
namespace {

constexpr std::uint8_t kFirmwareUpdate = 15;        // a payload that is no JSON is reported
constexpr std::uint8_t kFirmwareUpdateReport = 17;  // with this one
constexpr char kUnknownError[] = R"({"result":9,"resultDesc":"unknown error."})";

class PlugFrames : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        StartPlatform();
        LogIn();
    }
    void Send(std::uint8_t data_type, std::string_view text, MsgType type) {
        ASSERT_TRUE(platform_->SendPlugData(mac_, data_type, text, type));
    }
    /// The next reply or report must be of that text.
    void ExpectText(EventKind kind, std::uint8_t data_type, std::uint16_t code, std::string_view text) {
        const LinkEvent event = Await(Name(kind), [](const LinkEvent& candidate) {
            return candidate.kind == EventKind::kReply || IsReport(kFirmwareUpdateReport)(candidate);
        });
        EXPECT_EQ(kind, event.kind);
        EXPECT_EQ(data_type, event.data_type);
        EXPECT_EQ(code, event.code);
        EXPECT_EQ(text, event.text());
    }
};

TEST_F(PlugFrames, OneFamilyIsAnswered) {
    Send(200, "anything", MsgType::kPlugCommand);
    ExpectText(EventKind::kReply, 200, 0, R"({"result":0})");
    Send(kFirmwareUpdate, "no JSON", MsgType::kPlugCommand);
    ExpectText(EventKind::kReport, kFirmwareUpdateReport, 0, kUnknownError);
    ExpectText(EventKind::kReply, kFirmwareUpdate, 0xFFFF, R"({"result":-1})");

    // A bad checksum: eleven, no body, and nothing is done.
    ASSERT_TRUE(platform_->SendBytes(
        mac_, WithWrongChecksum(BuildPlugData(platform_->key(), MsgType::kPlugCommand, 15, "no JSON"))));
    const LinkEvent reply = Await(EventKind::kReply);
    EXPECT_EQ("ccdd19020b00000b00", ToHex(reply.frame));
    Send(200, "anything", MsgType::kPlugCommand);
    ExpectText(EventKind::kReply, 200, 0, R"({"result":0})");
}

TEST_F(PlugFrames, TheOtherIsCarriedOutUpToALimit) {
    Send(kFirmwareUpdate, std::string(1018, '!'), MsgType::kPlugReply);
    ExpectText(EventKind::kReport, kFirmwareUpdateReport, 0, kUnknownError);
    // Its checksum is not looked at.
    ASSERT_TRUE(platform_->SendBytes(
        mac_, WithWrongChecksum(BuildPlugData(platform_->key(), MsgType::kPlugReply, 15, "no JSON"))));
    ExpectText(EventKind::kReport, kFirmwareUpdateReport, 0, kUnknownError);
    // From 1019 bytes on it is ignored.
    Send(kFirmwareUpdate, std::string(1019, '!'), MsgType::kPlugReply);
    Send(kFirmwareUpdate, std::string(8000, '!'), MsgType::kPlugReply);
    Send(200, "", MsgType::kPlugCommand);
    ExpectText(EventKind::kReply, 200, 0, R"({"result":0})");
}

}  // namespace
}  // namespace plug::e2e
