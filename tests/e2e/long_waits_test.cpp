// Lost links and what follows: the re-login, a fresh registration after twenty hours, the end after a week.
// The agent's clock runs fast where the machine allows it.
#include "fixture.h"

namespace plug::e2e {
namespace {

constexpr std::int64_t kHour = 3600;

class LongWaits : public AgentTest {
  protected:
    /// Waits until the agent's heartbeats show that time.
    void AwaitTime(std::int64_t agent_time) {
        Await("a heartbeat of that time", [=](const LinkEvent& event) {
            return event.kind == EventKind::kHeartbeat && event.agent_time >= agent_time;
        });
    }
};

TEST_F(LongWaits, ALostLinkIsLoggedInAgain) {
    RunFast(10);
    LogIn();
    ExpectAnswers();

    // Closed by the platform, in the middle of a frame that must not reach into the next connection.
    const ByteVector command = BuildCommand(platform_->key(), kCpuUse, {}, mac_, 1);
    ASSERT_TRUE(platform_->SendBytes(mac_, ConstBytes(command).first(20)));
    const auto dropped = std::chrono::steady_clock::now();
    ASSERT_TRUE(platform_->Drop(mac_));
    AwaitStatuses("103");
    EXPECT_GE((std::chrono::steady_clock::now() - dropped) * speed_, Milliseconds(3000))
        << "three seconds of empty reads";
    ExpectLogged("Close link.");
    AwaitStatuses("103");
    AwaitReLogin();
    AwaitStatuses("003");
    // A second to take the link down, then twenty.
    ExpectWait("Close link.", "Re-login 127.0.0.1:", 21, 40);
    ExpectAnswers();

    // A frame that asks for it: the agent itself closes, and only the session loop writes the status.
    ASSERT_TRUE(platform_->SendBytes(mac_, LeadWordFrame()));
    AwaitLog("net error reconnect");
    AwaitStatuses("103");
    AwaitReLogin();
    AwaitStatuses("003");
    ExpectAnswers();
    EXPECT_EQ(1, CountLog("Close link."));
}

TEST_F(LongWaits, AFailedReLoginIsARegistration) {
    RunFast(5);
    LogIn();
    behaviour_.login_ack = Ack::kSilent;
    Behave();
    // With a reset, which the bench does in a way that the thread sanitizer takes for a race.
    ASSERT_TRUE(platform_->Drop(mac_, !kSanitized));
    Await(EventKind::kLogin);
    AwaitStatuses("103 103 001");
    ExpectWait("LoginServer command", "login failed !", 4, 10);  // five seconds for a silent one
    behaviour_.login_ack = Ack::kAccept;
    Behave();
    Await(EventKind::kRegister);
    Await(EventKind::kHeartbeat);
    AwaitStatuses("001 002 003");
    ExpectAnswers();
}

TEST_F(LongWaits, SilenceCountsOnlyAfterAnAck) {
    behaviour_.answer_heartbeats = false;
    behaviour_.interval = 20;
    RunFast(20);
    LogIn();
    for (int beat = 0; beat < 6; ++beat) Await(EventKind::kHeartbeat);
    ExpectAnswers();
    EXPECT_EQ(0, CountLog("heart beep error"));

    platform_->SendFrame(mac_, MsgType::kHeartbeatAck, {}, {});
    AwaitLog("heart beep error");
    // Three intervals, looked at every ten seconds.
    ExpectWait("heart beat ack", "heart beep error", 60, 99);

    // The last ack is older still when the link is back; the answer to the first heartbeat keeps it up.
    behaviour_.answer_heartbeats = true;
    Behave();
    AwaitReLogin();
    for (int beat = 0; beat < 5; ++beat) Await(EventKind::kHeartbeat);
    EXPECT_EQ(1, CountLog("heart beep error"));
    AwaitStatuses("103 003");
    ExpectAnswers();
}

TEST_F(LongWaits, TwentyHoursAfterTheLoginARegistrationIsDue) {
    behaviour_.answer_heartbeats = false;  // nobody shall take the jumps for silence
    StartPlatform();
    RunFast(50);
    StartAgent();
    const std::int64_t login = Await(EventKind::kHeartbeat).agent_time;
    AwaitStatuses("001 001 002 003");

    JumpAhead(19 * kHour);
    AwaitTime(login + 19 * kHour);
    ASSERT_TRUE(platform_->Drop(mac_));
    AwaitReLogin();
    AwaitStatuses("103 103 003");
    ExpectAnswers();

    // The re-login does not count: twenty hours are over since the first.
    JumpAhead(kHour);
    AwaitTime(login + 20 * kHour);
    ASSERT_TRUE(platform_->Drop(mac_));
    AwaitStatuses("103 103 001 001 002 003");
    ExpectLogged("Ready to Register ...");
    EXPECT_EQ(2, platform_->Find(mac_)->registrations);
    ExpectAnswers();
}

TEST_F(LongWaits, EveryRegistrationMayFailAsOften) {
    behaviour_.answer_heartbeats = false;  // nobody shall take the jump for silence
    StartPlatform();
    platform_->CloseListener(Server::kRegistration);
    RunFast(3);
    StartAgent();
    const auto fail_until = [this](int failures) {
        AwaitLog("RegisterStart error.", failures);
        platform_->OpenListener(Server::kRegistration);
        Await(EventKind::kHeartbeat);
    };
    fail_until(6);
    platform_->CloseListener(Server::kRegistration);
    JumpAhead(20 * kHour);
    ASSERT_TRUE(platform_->Drop(mac_));
    fail_until(12);
    ExpectAnswers();
}

TEST_F(LongWaits, AfterAWeekALostLinkEndsIt) {
    constexpr std::int64_t kWeek = 7 * 24 * kHour;
    behaviour_.answer_heartbeats = false;  // nobody shall take the jumps for silence
    RunFast(50);
    LogIn();
    std::int64_t now = LoggedAt("Login done");
    const auto lose_after = [&](std::int64_t seconds) {
        now += seconds;
        JumpAhead(seconds);
        AwaitTime(now);
        ASSERT_TRUE(platform_->Drop(mac_));
    };
    // Short of it a registration is due, and the week begins anew.
    lose_after(kWeek - kHour);
    AwaitStatuses("103 103 001 001 002 003");
    Await(EventKind::kHeartbeat);

    // A re-login goes on counting, from where the link stood.
    lose_after(19 * kHour);
    AwaitReLogin();
    AwaitStatuses("103 103 003");
    lose_after(kWeek - 18 * kHour);
    EXPECT_EQ(255, AwaitExit());
    ExpectLogged("After a week exit, restart ...");
    EXPECT_EQ(2, platform_->Find(mac_)->registrations);
}

}  // namespace
}  // namespace plug::e2e
