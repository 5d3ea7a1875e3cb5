// Plug data and diagnostics with the real programs: forwarded ports, ping and traceroute, rate tests, and the
// agent's own update.
#include <filesystem>
#include <sstream>

#include "bench/http_server.h"
#include "bench/layout.h"
#include "bench/sandbox.h"
#include "fixture.h"
#include "network.h"

namespace plug::e2e {
namespace {

constexpr std::uint16_t kPingStart = 8;
constexpr std::uint16_t kPingFetch = 9;
constexpr std::uint16_t kTraceStart = 51;
constexpr std::uint16_t kTraceFetch = 52;
constexpr std::uint16_t kRateReport = 62;
constexpr std::uint16_t kConfigData = 87;
constexpr std::uint8_t kUpdate = 2;
constexpr std::uint8_t kProgressReport = 3;
constexpr std::uint8_t kPortForward = 9;
constexpr std::uint8_t kInterval = 18;
constexpr char kDownload[] = "/tmp/plug_download";

/// A body that is different everywhere.
std::string Content(std::size_t size) {
    std::string content;
    for (std::size_t at = 0; content.size() < size; ++at) content += std::to_string(at) + "\n";
    content.resize(size);
    return content;
}

class PlugTest : public AgentTest {
  protected:
    void ExpectProgress(int process, int result) {
        const LinkEvent report = Await("a report of progress", IsReport(kProgressReport));
        EXPECT_EQ(R"({"pluginID":"p","fromVersion":"1","toVersion":"2","process":)" +
                      std::to_string(process) + R"(,"result":)" + std::to_string(result) +
                      R"(,"resultDesc":""})",
                  report.text());
    }
    void OrderUpdate(const std::string& url, const std::string& md5) {
        const Json order = {{"pluginID", "p"}, {"fromVersion", "1"}, {"toVersion", "2"}, {"url", url},
                            {"fileLength", 1}, {"fileMD5", md5},     {"token", "t"}};
        ASSERT_TRUE(platform_->SendPlugData(mac_, kUpdate, order.dump()));
    }
    /// The text of a fetch command's answer, once there is one.
    std::string Fetch(std::uint16_t id) {
        LinkEvent answer;
        const auto ended = [&] { return (answer = Ask(id)).result() != 1; };
        EXPECT_TRUE(WaitUntil(ended, kPatience));
        EXPECT_EQ(0, answer.result());
        const ConstBytes text = ConstBytes(answer.data).subspan(8);
        EXPECT_EQ(text.size(), answer.Word(6));
        return std::string(AsText(text));
    }
    static ByteVector RateOrder(const std::string& url) {
        return Counted(AsBytes(Json{{"value_func61", url}}.dump()));
    }
    void StartRateTest(const std::string& url) {
        // Its answer wherever it comes: the report of a quick test may be before it.
        EXPECT_EQ(0, platform_->Ask(mac_, kConfigData, RateOrder(url), kPatience).value().result());
    }
    /// The next report of a rate test: the rate, or -1.
    std::int32_t AwaitRate() {
        const LinkEvent report = platform_->WaitFor(IsAnswer(kRateReport), kPatience).value();
        ByteReader reader(report.data);
        reader.Skip(6);
        const auto rate = static_cast<std::int32_t>(reader.U32());
        EXPECT_TRUE(reader.ok() && reader.rest().empty());
        EXPECT_EQ(rate == -1 ? 1 : 0, report.result());
        return rate;
    }
    /// Only the agent's own traceroute is killed, not those of other tests.
    static void KeepKillsAtHome() {
        ReplaceProgram("killall", "exec pkill -x \"$1\" --ns $$ --nslist net \"$2\"");
    }
    static ByteVector Target(const ByteVector& address, std::uint16_t size = 0, std::uint16_t count = 0) {
        std::array<std::uint8_t, 20> rest{};
        ByteWriter writer(rest);
        writer.Zeros(16);
        writer.U16(size);
        writer.U16(count);
        return Join({address, rest});
    }
};

TEST_F(PlugTest, OneFamilyIsAnswered) {
    LogIn();
    ExpectResult(0, kInterval, R"({"func40Interval":19})");
    ExpectResult(-1, kInterval, R"({"func40Interval":20})");
    ExpectResult(0, 255, "{}");
    ASSERT_TRUE(platform_->SendPlugData(mac_, kInterval, R"({"func40Interval":19})", MsgType::kPlugReply));
    ExpectAnswers();
    ExpectLogged("Set subdev auto report 19 minute.", 2);
}

TEST_F(PlugTest, AForwardedPortCarriesAConnection) {
    AddNetwork("outside", "203.0.113.24/24", "203.0.113.1/24");
    AddNetwork("inside", "192.168.1.1/24", "192.168.1.20/24");
    WriteFile("/proc/sys/net/ipv4/ip_forward", "1\n");
    std::unique_ptr<HttpServer> server;
    InNetwork("inside",
              [&] { server = std::make_unique<HttpServer>("hello from inside", 80, "192.168.1.20"); });
    const std::string connect = "ip netns exec outside curl -s -m 5 http://203.0.113.24:8080/";
    LogIn();
    const auto rule = [](const char* flag) {
        return Json{{"FLAG", flag},
                    {"PRE_IP", "203.0.113.24"},
                    {"PRE_PORT", "8080"},
                    {"POST_IP", "192.168.1.20"},
                    {"POST_PORT", "80"}}
            .dump();
    };
    const std::string clean = Shell("iptables -t nat -S");
    EXPECT_THROW(Shell(connect), std::runtime_error) << "not yet";
    ExpectResult(0, kPortForward, rule("1"));
    ExpectResult(0, kPortForward, rule("1"));
    EXPECT_EQ(clean +
                  "-A PREROUTING -d 203.0.113.24/32 -p tcp -m tcp --dport 8080 -j DNAT --to-destination "
                  "192.168.1.20:80\n"
                  "-A POSTROUTING -d 192.168.1.20/32 -p tcp -m tcp --dport 80 -j SNAT --to-source "
                  "203.0.113.24:8080\n",
              Shell("iptables -t nat -S"));
    EXPECT_EQ("hello from inside", Shell(connect));
    ExpectResult(0, kPortForward, rule("0"));
    EXPECT_EQ(clean, Shell("iptables -t nat -S"));
    EXPECT_THROW(Shell(connect), std::runtime_error);
}

TEST_F(PlugTest, PingAndTraceroute) {
    KeepKillsAtHome();
    AddNetwork("inside", "192.168.1.1/24", "192.168.1.20/24");
    LogIn();
    const ByteVector inside = {192, 168, 1, 20};
    EXPECT_EQ(0, Ask(kPingStart, Target(inside, 100, 2)).result());
    EXPECT_EQ(1, Ask(kPingStart, Target(inside, 100, 2)).result()) << "one at a time";
    const std::string ping = Fetch(kPingFetch);
    EXPECT_TRUE(ping.starts_with("PING 192.168.1.20 (192.168.1.20) 100(128) bytes of data.\n")) << ping;
    EXPECT_NE(std::string::npos, ping.find("2 packets transmitted, 2 received")) << ping;

    EXPECT_EQ(0, Ask(kTraceStart, Target(inside)).result());
    AwaitLog("Exit killTrace");
    const std::string trace = Fetch(kTraceFetch);
    EXPECT_TRUE(trace.starts_with("traceroute to 192.168.1.20 ")) << trace;
    EXPECT_NE(std::string::npos, trace.find("\n 1  192.168.1.20  ")) << trace;
}

// Of what is open, its link, the local socket and its peer, and a download, a program gets nothing; only what
// the agent itself was started with.
TEST_F(PlugTest, AProgramInheritsOnlyWhatTheAgentDid) {
    ReplaceProgram("ping", "ls -l /proc/$$/fd");
    const HttpServer server(Content(4096));
    LogIn();
    LocalPeer peer;
    Connect(peer);
    EXPECT_EQ(0, Ask(kConfigData, RateOrder(server.Url("rate?stall"))).result());
    ASSERT_TRUE(WaitUntil([&] { return !server.Requests().empty(); }, kPatience));
    EXPECT_EQ(0, Ask(kPingStart, Target({192, 0, 2, 1})).result());
    std::istringstream lines(Fetch(kPingFetch));
    int inherited = 0;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t arrow = line.find(" -> ");
        if (arrow == std::string::npos || line.ends_with("/ping")) continue;  // the script itself
        const int number = std::stoi(line.substr(line.rfind(' ', arrow - 1)));
        EXPECT_TRUE(number <= STDERR_FILENO || fcntl(number, F_GETFD) == 0)
            << "not from the starter: " << line;
        ++inherited;
    }
    EXPECT_LE(3, inherited);
}

TEST_F(PlugTest, TheWatchdogEndsATracerouteThatHangs) {
    KeepKillsAtHome();
    Shell("mkfifo /tmp/never");
    ReplaceProgram("traceroute", "echo \"$*\"; read line < /tmp/never");
    RunFast(60);
    LogIn();
    EXPECT_EQ(0, Ask(kTraceStart, Target({203, 0, 113, 7})).result());
    AwaitLog("kill traceroute");
    ExpectWait("ParserProtoolData funcid 51", "kill traceroute", 499, 700);
    AwaitLog("Exit killTrace");
    EXPECT_EQ("-n 203.0.113.7\n", Fetch(kTraceFetch));
    EXPECT_EQ(0, Ask(kTraceStart, Target({203, 0, 113, 7})).result());
}

TEST_F(PlugTest, RateTests) {
    const HttpServer server(Content(600'000));
    LogIn();
    StartRateTest(server.Url("rate?slow=2"));
    ASSERT_TRUE(WaitUntil([&] { return !server.Requests().empty(); }, kPatience));
    StartRateTest(server.Url("second"));
    const std::int32_t rate = AwaitRate();
    ASSERT_GT(rate, 0);
    EXPECT_EQ(600'000 / (600'000 / rate), rate) << "whole bytes by whole seconds";
    EXPECT_EQ(1U, server.Requests().size()) << "one at a time";
    const auto ended = [&] { return !Threads().contains("RateTestProc"); };
    ASSERT_TRUE(WaitUntil(ended, kPatience)) << "busy for as long as it runs";
    StartRateTest(server.Url("a?404"));
    EXPECT_EQ(-1, AwaitRate());
}

// In real time, whatever the agent's clock: it is the kernel that ends the wait.
TEST_F(PlugTest, ASilentServerIsGivenUpAfterHalfAMinute) {
    const std::string content = Content(4096);
    const HttpServer server(content);
    LogIn();
    const auto ordered = std::chrono::steady_clock::now();
    OrderUpdate(server.Url("plug?stall"), Md5(content));
    ExpectProgress(0, -1);
    const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - ordered;
    EXPECT_GT(waited.count(), 29);
    EXPECT_LT(waited.count(), 45);
    AwaitStatuses("104");
    EXPECT_EQ(R"({"result":0})", AwaitReply().text());
    EXPECT_EQ(content.substr(0, 2048), ReadFile(kDownload)) << "what came is left";
    ExpectAnswers();
}

TEST_F(PlugTest, AnUpdateEndsTheAgent) {
    const std::string content = Content(4096);
    const HttpServer server(content);
    LogIn();
    OrderUpdate(server.Url("plug?dribble"), Md5(content));
    ExpectProgress(1, 0);
    AwaitStatuses("004");
    platform_->Drop(mac_);  // a lost link writes its own status no more
    EXPECT_EQ(255, AwaitExit());
    EXPECT_EQ("004\n", ReadFile("/tmp/plugstatus"));
    EXPECT_EQ(content, ReadFile(kDownload));
    EXPECT_NE(std::string::npos, server.Requests().at(0).find("GET /plug?dribble HTTP/1.1\r\n"));
    ExpectLogged("exit at [ParserPlugData] ");
    ExpectWait("Send MsgType=[17] DataType=[3]", "exit at [ParserPlugData] ", 3, 60);
}

}  // namespace
}  // namespace plug::e2e
