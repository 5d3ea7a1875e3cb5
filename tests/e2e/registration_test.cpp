// How the agent starts and registers: options, plug.conf, identity, the choice of the server, and the end
// after too many failures.
#include "bench/sandbox.h"
#include "fixture.h"

namespace plug::e2e {
namespace {

constexpr char kOneName[] = "one.example.com";
constexpr char kTwoName[] = "two.example.com";

std::string HostsLine(const std::string& address, const std::string& name) {
    return address + " " + name + "\n";
}

class Registration : public AgentTest {
  protected:
    /// Registers by name instead of in Test Mode.
    void UseNames() {
        setup_.server1 = kOneName;
        setup_.server2 = kTwoName;
    }
    /// Runs the agent to its end, which must be status 255 with `text` in the log.
    void ExpectRefusal(const std::string& text) {
        SCOPED_TRACE(text);
        StartAgent();
        EXPECT_EQ(255, AwaitExit());
        ExpectLogged(text);
    }
};

TEST_F(Registration, BadOptionsEndIt) {
    StartPlatform();
    struct Case {
        std::vector<std::string> arguments;
        const char* text;
    };
    const Case cases[] = {
        {{"-f"}, "Error: -f argument given but no file specified."},
        {{"-m", "00112233445"}, "Error: mac format must be \"aabbccddeeff\"."},
        {{"-d", "-m", "00:11:22:33:44:55"}, "Error: mac format must be \"aabbccddeeff\"."},
        {{"-m"}, "Error: mac format must be \"aabbccddeeff\"."},
        {{"-f", "/" + std::string(255, 'x')}, "too long"},
    };
    for (const Case& bad : cases) {
        setup_.arguments = bad.arguments;
        ExpectRefusal(bad.text);
        ExpectLogged("Error wrong param(s).");
    }
    EXPECT_FALSE(platform_->log().size() > 0);

    // Only noted; without -d nothing else is logged.
    setup_.arguments = {"-x", "-yd", "stray"};
    LogIn();
    ExpectLogged("Unknown option: x");
    ExpectLogged("Unknown option: y");
    ExpectLogged("Test Mode!!!");
    ExpectLogged("Plugin Version = 2.0.0.7-20221227");
    setup_.arguments = {};
    LogIn();
    EXPECT_EQ("", agent_->Output());
}

TEST_F(Registration, PortsHaveLimits) {
    for (const std::uint16_t port : {std::uint16_t{2048}, std::uint16_t{65530}}) {
        PlatformOptions options;
        options.register_port = port;
        StartPlatform(options);
        LogIn();
        StopAgent();
    }
    for (const char* port : {"2047", "65531", "-6039", "port"}) {
        profile_ = "[Dev]\nPIN=1\n[Protool]\nKEY=k\nSERVER1=127.0.0.1\nPORT=" + std::string(port) + "\n";
        ExpectRefusal("RegPort error.");
        ExpectLogged("Dns parse failed, exit!!!");
        AwaitStatuses("102");
    }
}

TEST_F(Registration, NoIdentityNoRegistration) {
    StartPlatform();
    setup_.pin = "";
    ExpectRefusal("ERROR: PIN is empty, plese check your plug.conf!");
    AwaitStatuses("001 001");
    setup_.pin = "1";
    setup_.key = "";
    ExpectRefusal("ERROR: KEY is empty, plese check your plug.conf!");
    AwaitStatuses("001 001");
    setup_.key = "k";
    setup_.router = R"({"router": {"serial_number": "S1"}, "faults": {"get_router_sn": 5}})";
    ExpectRefusal("ERROR: get sn failed!");
    AwaitStatuses("001");
    setup_.router = R"({"router": {"serial_number": ""}})";
    ExpectRefusal("ERROR: SN is invalid!");
    AwaitStatuses("001");

    StopAgent();
    Cursor events = platform_->FromStart();
    EXPECT_FALSE(events.WaitFor(EventKind::kRegister, Milliseconds(0)));
}

// Sections and keys match as parts of their line, the last value of the first such section counts, and an
// unreadable -f falls back to /tmp/plug.conf.
TEST_F(Registration, AnUntidyPlugConf) {
    PlatformOptions options;
    options.key = "abc";
    StartPlatform(options);
    profile_ =
        "PIN=before any section\n"
        "  # [Dev] a comment is no section\n"
        "PIN=still before\n"
        "[Other]\nPIN=wrong section\n"
        "[My Dev settings]\n"
        "PIN=first\n"
        "\t# PIN=commented out\n"
        "MYPINS=   8765 43219 \t\r\n"
        "PIN=\r\n"
        "PIN= \t \n"
        "pin=wrong case\n"
        "\n"
        "[Protool2]\n"
        "KEY=" +
        std::string(600, 'x') +
        "\n"
        "KEY=abc\r\n"
        "KEYS and no value end the search\n"
        "KEY=too late\n"
        "SERVER1=127.0.0.1\n"
        "PORTX=" +
        std::to_string(platform_->register_port()) +
        "\n"
        "[Dev]\nPIN=too late\n"
        "[Protool]\nSERVER1=too late.com\nPORT=1\n";
    setup_.arguments = {"-d", "-f", "/tmp/none.conf"};
    LogIn();
    EXPECT_EQ("8765 43219", platform_->Find(mac_)->pin);
    ExpectLogged("use config file  [/tmp/plug.conf]");
}

// A try without an answer takes ten seconds and fails; one without a body is no answer.
TEST_F(Registration, SilentPlatform) {
    Behaviour behaviour;
    behaviour.register_ack = Ack::kSilent;
    StartPlatform().Behave(behaviour);
    RunFast(10);
    StartAgent();
    Await(EventKind::kRegister);
    behaviour.register_ack = Ack::kEmptyBody;
    platform_->Behave(behaviour);
    Await(EventKind::kRegister);
    platform_->Behave(Behaviour());
    const std::int64_t waited = LoggedAt("Register failed.", 1) - LoggedAt("aes_crypt_ecb encode", 1);
    EXPECT_GE(waited, 9);
    EXPECT_LT(waited, 20);
    AwaitStatuses("001 001 101 001 001 101 001 001 002 003");
    ExpectLogged("regist ack error");
    ExpectLogged("RegisterStart error.", 2);
}

TEST_F(Registration, TheTwelfthFailureEndsIt) {
    StartPlatform();
    platform_->CloseListener(Server::kRegistration);
    UseNames();
    ReplaceHosts(HostsLine("127.0.0.1", kOneName));
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
    StartPlatform();
    UseNames();
    ReplaceHosts(HostsLine("127.0.0.2", kOneName) + HostsLine("127.0.0.1", kTwoName));
    platform_->CloseListener(Server::kRegistration);
    RunFast(10);
    StartAgent();
    AwaitLog("RegisterStart error.");
    platform_->OpenListener(Server::kRegistration);
    Await(EventKind::kHeartbeat);
    ExpectLogged("RegisterStart error.");  // three failures at server 1 are no failed round
    ExpectLogged("Run Mode!!!", 2);
    ExpectLogged("Register server1...", 6);
    ExpectLogged("Register server2...", 2);
    ExpectLogged("connect failed!......", 7);  // one of them at server 2
    EXPECT_GE(LoggedAt("Register server1...", 2) - LoggedAt("connect failed!......", 1), 5);
    EXPECT_GE(LoggedAt("Register server2...", 1) - LoggedAt("connect failed!......", 3), 5);
}

TEST_F(Registration, OnlyTheServersThatResolve) {
    StartPlatform();
    UseNames();
    ReplaceHosts(HostsLine("127.0.0.1", kOneName));
    LogIn();
    ExpectLogged("DNS resolve addres2 error !!!");
    ExpectLogged("Only access server1.");
    ExpectLogged("Only server1...");

    ReplaceHosts(HostsLine("127.0.0.1", kTwoName));
    LogIn();
    ExpectLogged("DNS resolve addres1 error !!!");
    ExpectLogged("Only access server2.");
    ExpectLogged("Only server2...");

    ReplaceHosts("127.0.0.1 localhost\n");
    ExpectRefusal("Dns parse failed, exit!!!");
    AwaitStatuses("102");
}

}  // namespace
}  // namespace plug::e2e
