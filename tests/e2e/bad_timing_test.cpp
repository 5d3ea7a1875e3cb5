// What comes at the worst moment: threads of the agent are held where they stand until it has come.
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <future>

#include "fixture.h"

namespace plug::e2e {
namespace {

/// Holds a thread that waits for something until it goes out of scope.
class HeldThread {
  public:
    explicit HeldThread(pid_t thread) : thread_(thread) {
        const std::string path = "/proc/" + std::to_string(thread) + "/stat";
        WaitUntil([&path] { return ReadFile(path).find(") S ") != std::string::npos; }, kPatience);
        if (ptrace(PTRACE_SEIZE, thread, nullptr, nullptr) != 0 ||
            ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) != 0 ||
            waitpid(thread, nullptr, __WALL) != thread)
            throw std::system_error(errno, std::generic_category(), "holding a thread");
    }
    ~HeldThread() { ptrace(PTRACE_DETACH, thread_, nullptr, nullptr); }
    HeldThread(const HeldThread&) = delete;
    HeldThread& operator=(const HeldThread&) = delete;

  private:
    const pid_t thread_;
};

class BadTiming : public AgentTest {};

TEST_F(BadTiming, ARegistrationWhoseLinkIsLostFails) {
    std::promise<void> held;
    behaviour_.rewrite_ack = [this, wait = held.get_future().share()](const ByteVector& ack) {
        wait.wait();
        // The last tells in the log that the one before has been taken.
        return Join({ack, LeadWordFrame(), BuildFrame(platform_->key(), MsgType::kHeartbeatAck, {}, {})});
    };
    StartPlatform();
    StartAgent();
    Await(EventKind::kRegister);
    {
        const HeldThread main(agent_->pid());
        held.set_value();
        AwaitLog("heart beat ack");
        behaviour_ = {};
        Behave();
    }
    AwaitStatuses("001 001 002 101");
    ExpectLogged("Register failed.");
    Await(EventKind::kHeartbeat);
    ExpectAnswers();
}

TEST_F(BadTiming, AnAckToALinkThatIsTakenDownLogsNobodyIn) {
    RunFast(5);
    LogIn();
    LocalPeer peer;
    auto states = peer.FromStart();
    const auto next_state = [&states] { return states.WaitFor(IsRequest(998), kPatience).value(); };
    ASSERT_TRUE(peer.Connect());
    ASSERT_TRUE(peer.AskState());
    next_state();
    {
        const HeldThread heartbeat(Threads().at("HeartbeatProc"));  // its end is waited for
        ASSERT_TRUE(platform_->SendBytes(mac_, LeadWordFrame()));
        EXPECT_NE(std::string::npos, next_state().text().find("offline"));
        ASSERT_TRUE(platform_->SendBytes(mac_, BuildLoginAck(platform_->key(), 60)));
        AwaitStatuses("003");
    }
    AwaitStatuses("103");
    ASSERT_TRUE(peer.AskState());  // and is not answered: the next state is that of the new login
    AwaitReLogin();
    EXPECT_EQ(0, Ask(71).result());
    int told = 0;
    for (PeerEvent event; event.func_id != 71; told += event.func_id == 998)
        event = states.WaitFor(PeerEventKind::kRequest, kPatience).value();
    EXPECT_EQ(1, told);
}

}  // namespace
}  // namespace plug::e2e
