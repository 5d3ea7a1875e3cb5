// The session's course: what is sent first, what the acks decide, how heartbeats come.
#include "fixture.h"

namespace plug::e2e {
namespace {

class Session : public AgentTest {};

TEST_F(Session, BeginsInItsOrder) {
    setup_.pin = "8765 43219";
    setup_.arguments = {"-d", "-m", "aB1C2D3E4F50"};
    mac_ = ParseMac("AB:1C:2D:3E:4F:50").value();
    LogIn();
    std::string order;
    Cursor events = platform_->FromStart();
    while (const auto event = events.Next(Milliseconds(0)))
        if (!event->frame.empty()) order += std::string(Name(event->kind)) + " ";
    EXPECT_EQ("register login report heartbeat ", order);
    EXPECT_EQ("{\n\t\"MAC\":\t\"AB1C2D3E4F50\"\n}",
              platform_->FromStart().WaitFor(IsReport(13), kPatience)->text());
    EXPECT_EQ("8765 43219", platform_->Find(mac_)->pin);
    ExpectAnswers();
}

TEST_F(Session, WithoutAGoodLoginAckComesARegistration) {
    RunFast(10);
    StartPlatform();
    for (const Ack ack : {Ack::kEmptyBody, Ack::kRefuse, Ack::kClose, Ack::kSilent}) {
        behaviour_.login_ack = ack;
        Behave();
        if (!agent_) StartAgent();
        AwaitStatuses("001 001 002");
        Await(EventKind::kLogin);
        if (ack == Ack::kClose) AwaitStatuses("103");
    }
    behaviour_.login_ack = Ack::kAccept;
    Behave();
    AwaitStatuses("001");
    ExpectWait("LoginServer command", "login failed !", 9, 20);  // ten seconds for a silent one
    AwaitStatuses("001 002 003");
    ExpectLogged("login failed !", 4);
    EXPECT_EQ(0, CountLog("RegisterStart error.")) << "every registration was good";
}

// It is tried without end, and what comes behind it is not read: the acks neither.
TEST_F(Session, ARuleThatCanNeverBeAppliedGivesTheLinkUp) {
    RunFast(20);
    behaviour_.answer_heartbeats = false;
    LogIn();
    const std::string rules = R"({"LIST":[{"FLAG":"2","MAC":"m","UP":"1","DOWN":"1"}]})";
    ASSERT_TRUE(platform_->SendCommand(mac_, 66, AsBytes(rules)));
    behaviour_.answer_heartbeats = true;
    Behave();
    AwaitLog("heart beep error");
    AwaitReLogin();
    ExpectAnswers();
}

TEST_F(Session, HeartbeatsComeAtTheIntervalOfTheLastLogin) {
    RunFast(20);
    LogIn();
    // At least twenty seconds; the interval is a signed number.
    for (const auto& [sent, seconds] :
         {std::pair<std::uint16_t, std::uint32_t>{5, 20}, {40, 40}, {0xFFFF, 20}}) {
        behaviour_.interval = sent;
        Behave();
        platform_->Drop(mac_);
        const LinkEvent first = AwaitReLogin();
        const std::uint32_t waited = Await(EventKind::kHeartbeat).agent_time - first.agent_time;
        EXPECT_GE(waited, seconds);
        EXPECT_LT(waited, seconds + 19);
    }
}

}  // namespace
}  // namespace plug::e2e
