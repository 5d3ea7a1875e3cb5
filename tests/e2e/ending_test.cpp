// The end that somebody asks for: in order, by the signal that asked, and at once when asked again.
#include <csignal>
#include <filesystem>

#include "fixture.h"

namespace plug::e2e {
namespace {

constexpr char kSocketPath[] = "/tmp/CommServer";

/// Parameters of a ping of the loopback, with a size that no other test uses.
constexpr std::uint8_t kPing[] = {127, 0, 0, 1, 0, 0, 0, 0, 0,    0,    0,  0,
                                  0,   0, 0, 0, 0, 0, 0, 0, 0xA7, 0x03, 50, 0};
constexpr char kPingCommand[] = "ping -s 935 -c 50";

bool PingRuns() {
    return Run({{"pgrep", "-f", kPingCommand}, {}, "", true}).status == 0;
}

class Ending : public AgentTest {
  protected:
    void Send(std::uint16_t id, ConstBytes parameters = {}) {
        ASSERT_TRUE(platform_->SendCommand(mac_, id, parameters));
    }
};

TEST_F(Ending, ASignalEndsEverythingInOrder) {
    LogIn();
    LocalPeer peer;
    Connect(peer);
    EXPECT_EQ(0, Ask(8, kPing).result());
    ASSERT_TRUE(WaitUntil(PingRuns, kPatience));
    const auto threads = Threads();
    EXPECT_TRUE(threads.contains(Emulator().empty() ? "plug" : Emulator()));
    for (const char* name : {"ServerRecv", "RespProc", "HeartbeatProc", "CheckProc", "CommServerProc",
                             "CommReleaseProc", "ServerThread", "CommRecvHandle", "SubdevThread",
                             "Fn40FilterProc", "eaccess", "TimeRuleProc", "ping", "signals"})
        EXPECT_TRUE(threads.contains(name)) << name;

    agent_->Signal(SIGTERM);
    EXPECT_EQ(128 + SIGTERM, AwaitExit());
    AwaitStatuses("103");
    EXPECT_FALSE(PingRuns());
    EXPECT_FALSE(std::filesystem::exists(kSocketPath));
    const auto notice = peer.WaitFor(IsRequest(998), kPatience);
    ASSERT_TRUE(notice);
    EXPECT_TRUE(notice->text().find("offline") != std::string_view::npos) << notice->text();
    EXPECT_EQ("closed by the agent", Await(EventKind::kClosed).note);
    ExpectLogged("Stop Eaccess success !!!!!");
}

TEST_F(Ending, WhateverTheMainThreadWaitsFor) {
    StartPlatform();
    behaviour_.register_ack = Ack::kSilent;
    Behave();
    StartAgent();
    Await(EventKind::kRegister);
    agent_->Signal(SIGINT);
    EXPECT_EQ(128 + SIGINT, AwaitExit());
    ExpectLogged("asked to end");

    // Between two attempts at the login.
    behaviour_ = {};
    Behave();
    LogIn();
    platform_->Drop(mac_);
    AwaitStatuses("103 103");
    agent_->Signal(SIGTERM);
    EXPECT_EQ(128 + SIGTERM, AwaitExit());
    EXPECT_EQ(0, CountLog("ReLogin..."));
}

TEST_F(Ending, AHeldCommandDoesNotHoldIt) {
    setup_.router = R"({"router": {"mac": "00:00:5E:00:53:01", "serial_number": "S1"},
                        "delays": {"get_cpu_use": 600000}})";
    LogIn();
    Send(kCpuUse);
    AwaitLog("funcid 47");
    agent_->Signal(SIGTERM);
    EXPECT_EQ(128 + SIGTERM, AwaitExit()) << "after three seconds";

    LogIn();
    Send(kCpuUse);
    AwaitLog("funcid 47");
    agent_->Signal(SIGTERM);
    AwaitLog("asked to end");
    const auto second = std::chrono::steady_clock::now();
    agent_->Signal(SIGINT);
    EXPECT_EQ(128 + SIGINT, AwaitExit());
    EXPECT_LT(std::chrono::steady_clock::now() - second, Milliseconds(2000)) << "at once";
}

TEST_F(Ending, ASilentLocalPeerDoesNotHoldIt) {
    constexpr std::uint16_t kMeshSwitch = 73;
    LogIn();
    LocalPeer peer;
    peer.answers().Set(kMeshSwitch, {.silent = true});
    Connect(peer);
    Send(kMeshSwitch);
    ASSERT_TRUE(peer.WaitFor(IsRequest(kMeshSwitch), kPatience));
    agent_->Signal(SIGTERM);
    EXPECT_EQ(128 + SIGTERM, AwaitExit());
    ExpectLogged("Stop Eaccess success !!!!!");  // in order, which takes less than three seconds
}

}  // namespace
}  // namespace plug::e2e
