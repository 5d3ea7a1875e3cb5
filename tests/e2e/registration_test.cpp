// How the agent starts and registers: options, identity, the choice of the server, and the end after too many
// failures.
#include <filesystem>

#include "bench/sandbox.h"
#include "core/version.h"
#include "fixture.h"

namespace plug::e2e {
namespace {

class Registration : public AgentTest {
  protected:
    /// Registers by name instead of in Test Mode; a name without an address does not resolve.
    void UseNames(const std::string& one, const std::string& two) {
        if (!platform_) StartPlatform();
        setup_.server1 = "one.example.com";
        setup_.server2 = "two.example.com";
        std::string hosts = "127.0.0.1 localhost\n";
        if (!one.empty()) hosts += one + " " + setup_.server1 + "\n";
        if (!two.empty()) hosts += two + " " + setup_.server2 + "\n";
        ReplaceHosts(hosts);
    }
    /// Runs the agent to its end, which must be status 255 with `text` in the log.
    void ExpectRefusal(const std::string& text) {
        SCOPED_TRACE(text);
        StartAgent();
        EXPECT_EQ(255, AwaitExit());
        ExpectLogged(text);
    }
};

TEST_F(Registration, WithoutOptionDNothingIsLogged) {
    setup_.arguments = {"-x", "-yd", "stray"};
    LogIn();
    ExpectLogged("Unknown option: y");
    ExpectLogged(std::string("Plugin Version = ") + kDatedVersion);
    setup_.arguments = {};
    LogIn();
    ExpectAnswers();
    EXPECT_EQ("", agent_->Output());
}

TEST_F(Registration, ACarelessStarterIsMadeUpFor) {
    if (!Emulator().empty()) GTEST_SKIP() << "an emulator starts no script";
    const std::string preload = ProgramFolder() + "/libagent_preload.so";
    WriteFile("/tmp/starter", "#!/bin/sh\numask 0\nLD_PRELOAD=" + preload + " exec " + setup_.binary +
                                  " \"$@\" <&- >&- 2>&-\n");
    std::filesystem::permissions("/tmp/starter", std::filesystem::perms::owner_all);
    setup_.binary = "/tmp/starter";
    LogIn();
    const std::string process = "/proc/" + std::to_string(agent_->pid());
    for (const char* standard : {"/fd/0", "/fd/1", "/fd/2"})
        EXPECT_EQ("/dev/null", std::filesystem::read_symlink(process + standard)) << standard;
    EXPECT_EQ(22, NumberAfter(process + "/status", "Umask:")) << "octal";
    ExpectAnswers();
}

TEST_F(Registration, ABadStartEndsIt) {
    StartPlatform();
    setup_.pin = "";
    ExpectRefusal("ERROR: PIN is empty, plese check your plug.conf!");
    AwaitStatuses("001 001");
    setup_.pin = "1";
    setup_.router = R"({"router": {"serial_number": "S1"}, "faults": {"get_router_sn": 5}})";
    ExpectRefusal("ERROR: get sn failed!");
    AwaitStatuses("001");
    setup_.port = 2047;
    ExpectRefusal("RegPort error.");
    AwaitStatuses("102");
    setup_.arguments = {"-m", "00112233445"};
    ExpectRefusal("Error: mac format must be \"aabbccddeeff\".");
}

// A try without an answer takes ten seconds and fails; one without a body is no answer.
TEST_F(Registration, ASilentPlatformIsAskedAgain) {
    behaviour_.register_ack = Ack::kSilent;
    StartPlatform();
    RunFast(10);
    StartAgent();
    Await(EventKind::kRegister);
    behaviour_.register_ack = Ack::kEmptyBody;
    Behave();
    Await(EventKind::kRegister);
    behaviour_.register_ack = Ack::kAccept;
    Behave();
    ExpectWait("aes_crypt_ecb encode", "Register failed.", 9, 20, 1);
    AwaitStatuses("001 001 101 001 001 101 001 001 002 003");
    ExpectLogged("RegisterStart error.", 2);
}

TEST_F(Registration, TheTwelfthFailureEndsIt) {
    UseNames("127.0.0.1", "");
    platform_->CloseListener(Server::kRegistration);
    RunFast(10);
    ExpectRefusal("Register retry more than 10 times, exit !!!");
    std::string statuses = "001";
    for (int failure = 0; failure < 11; ++failure) statuses += " 001";
    AwaitStatuses(statuses + " 102");
    ExpectLogged("Only server1...", 12);
    ExpectLogged("connect failed!......", 12);
    ExpectLogged("RegisterStart error.", 11);
}

TEST_F(Registration, Server1ThreeTimesThenServer2) {
    UseNames("127.0.0.2", "127.0.0.1");
    platform_->CloseListener(Server::kRegistration);
    RunFast(10);
    StartAgent();
    AwaitLog("RegisterStart error.");
    platform_->OpenListener(Server::kRegistration);
    Await(EventKind::kHeartbeat);
    ExpectLogged("RegisterStart error.");  // three failures at server 1 are no failed round
    ExpectLogged("Register server1...", 6);
    ExpectLogged("Register server2...", 2);
    ExpectLogged("connect failed!......", 7);  // one of them at server 2
    EXPECT_GE(LoggedAt("Register server1...", 2) - LoggedAt("connect failed!......", 1), 5);
    EXPECT_GE(LoggedAt("Register server2...", 1) - LoggedAt("connect failed!......", 3), 5);
}

TEST_F(Registration, OnlyTheServersThatResolve) {
    UseNames("127.0.0.1", "");
    LogIn();
    ExpectLogged("Only server1...");
    UseNames("", "127.0.0.1");
    LogIn();
    ExpectLogged("Only server2...");
    UseNames("", "");
    ExpectRefusal("Dns parse failed, exit!!!");
    AwaitStatuses("102");
}

}  // namespace
}  // namespace plug::e2e
