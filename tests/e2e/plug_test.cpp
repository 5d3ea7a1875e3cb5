// Plug data and diagnostics with the real programs: replies by DataType, forwarded ports, ping and
// traceroute, rate tests, and the agent's own update.
#include <filesystem>

#include "bench/http_server.h"
#include "bench/layout.h"
#include "fixture.h"
#include "network.h"

namespace plug::e2e {
namespace {

constexpr std::uint16_t kPingStart = 8;
constexpr std::uint16_t kPingFetch = 9;
constexpr std::uint16_t kCpuUse = 47;
constexpr std::uint16_t kTraceStart = 51;
constexpr std::uint16_t kTraceFetch = 52;
constexpr std::uint16_t kRateStart = 61;
constexpr std::uint16_t kRateReport = 62;
constexpr std::uint16_t kConfigData = 87;
constexpr std::uint8_t kUpdate = 2;
constexpr std::uint8_t kProgressReport = 3;
constexpr std::uint8_t kPortForward = 9;
constexpr std::uint8_t kFirmwareReport = 17;
constexpr char kDownload[] = "/tmp/plug_download";

/// A body that is different everywhere.
std::string Content(std::size_t size) {
    std::string content;
    for (std::size_t at = 0; content.size() < size; ++at) content += std::to_string(at) + "\n";
    content.resize(size);
    return content;
}

ByteVector CountedText(const std::string& text) {
    std::array<std::uint8_t, 2> length;
    ByteWriter(length).U16(static_cast<std::uint16_t>(text.size()));
    return Join({length, AsBytes(text)});
}

class PlugTest : public AgentTest {
  protected:
    void LogInAtPlatform() {
        setup_.router = R"({"router": {"mac": "00:00:5E:00:53:01", "serial_number": "S1"},
                            "cpu": {"use_percent": 12}})";
        StartPlatform();
        LogIn();
    }
    /// Sends plug data that is answered, and expects that result.
    void ExpectReply(std::uint8_t type, const std::string& json, int result) {
        SCOPED_TRACE("DataType " + std::to_string(type) + " " + json);
        ASSERT_TRUE(platform_->SendPlugData(mac_, type, json));
        const LinkEvent reply = AwaitReply();
        EXPECT_EQ(MsgType::kPlugReply, reply.header.type());
        EXPECT_EQ(static_cast<std::uint16_t>(result), reply.code);
        EXPECT_EQ(type, reply.data_type);
        EXPECT_EQ("{\"result\":" + std::to_string(result) + "}", reply.text());
    }
    void ExpectReport(std::uint8_t type, const std::string& text) {
        const LinkEvent report = Await("a report", IsReport(type));
        EXPECT_EQ(MsgType::kDataReport, report.header.type());
        EXPECT_EQ(text, report.text());
    }
    void ExpectProgress(int process, int result) {
        ExpectReport(kProgressReport, R"({"pluginID":"p","fromVersion":"1","toVersion":"2","process":)" +
                                          std::to_string(process) + R"(,"result":)" + std::to_string(result) +
                                          R"(,"resultDesc":""})");
    }
    void OrderUpdate(const std::string& url, const std::string& md5) {
        const Json order = {{"pluginID", "p"}, {"fromVersion", "1"}, {"toVersion", "2"}, {"url", url},
                            {"fileLength", 1}, {"fileMD5", md5},     {"token", "t"}};
        ASSERT_TRUE(platform_->SendPlugData(mac_, kUpdate, order.dump()));
    }
    /// The text of a fetch command's answer, once there is one.
    std::string Fetch(std::uint16_t id) {
        LinkEvent answer = Ask(id);
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (answer.result() == 1 && std::chrono::steady_clock::now() < deadline) {
            EXPECT_EQ(6U, answer.data.size()) << "still running";
            std::this_thread::sleep_for(Milliseconds(20));
            answer = Ask(id);
        }
        EXPECT_EQ(0, answer.result());
        const ConstBytes text = ConstBytes(answer.data).subspan(8);
        EXPECT_EQ(text.size(), answer.Word(6));
        return std::string(AsText(text));
    }
    void StartRateTest(const std::string& url) {
        EXPECT_EQ(0, Ask(kConfigData, CountedText(Json{{"value_func61", url}}.dump())).result());
    }
    /// The report of a rate test: the rate, or -1.
    std::int32_t AwaitRate() {
        const LinkEvent report = Await("a rate", IsAnswer(kRateReport));
        EXPECT_EQ(MsgType::kFunctionReply, report.header.type());
        EXPECT_EQ(0, report.code);
        EXPECT_EQ(0, report.data_type);
        EXPECT_EQ(kRouterMac, report.address);
        ByteReader reader(report.data);
        EXPECT_EQ(0, reader.U16());
        reader.Skip(2);
        const std::uint16_t result = reader.U16();
        const auto rate = static_cast<std::int32_t>(reader.U32());
        EXPECT_TRUE(reader.ok() && reader.rest().empty());
        EXPECT_EQ(rate == -1 ? 1 : 0, result);
        return rate;
    }
    /// Only the agent's own traceroute is killed, not those of other tests.
    static void KeepKillsAtHome() {
        ReplaceProgram("killall", "exec pkill -x \"$1\" --ns $$ --nslist net \"$2\"");
    }
    static void HangTraceroute() {
        KeepKillsAtHome();
        Shell("mkfifo /tmp/never");
        ReplaceProgram("traceroute", "echo \"$*\"; read line < /tmp/never");
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

TEST_F(PlugTest, RepliesByDataType) {
    LogInAtPlatform();
    const struct {
        std::uint8_t type;
        const char* json;
        int result;
        const char* report;  // of DataType 17, before the reply
    } cases[] = {
        {1, "no json", 0, nullptr},
        {4, R"({"result":"any"})", 0, nullptr},
        {5, R"({"mac":"001122AABBCC"})", 0, nullptr},
        {6, R"({"mac":"001122AABBCC"})", -1, nullptr},
        {7, "{", -1, nullptr},
        {9, "no json", -2, nullptr},
        {9, "{}", -3, nullptr},
        {9, R"({"FLAG":"2","PRE_IP":"1","PRE_PORT":"1","POST_IP":"1","POST_PORT":"1"})", -8, nullptr},
        {15, R"({"fromVersion":"1","toVersion":"2"})", 0, R"({"result":0,"resultDesc":"success"})"},
        {15, R"({"toVersion":"2"})", 1, R"({"result":1,"resultDesc":"fromVersion not match"})"},
        {15, R"({"fromVersion":"1"})", 2, R"({"result":2,"resultDesc":"toVersion not support."})"},
        {15, "", -1, R"({"result":9,"resultDesc":"unknown error."})"},
        {16, R"({"fromVersion":"1","toVersion":"2","url":"u"})", -1,
         R"({"result":5,"resultDesc":"fileLength error."})"},
        {16, R"({"fromVersion":"1","toVersion":"2","url":"u","fileLength":1,"checkMethod":1,"chkSum":"c"})",
         -1, R"({"result":9,"resultDesc":"unKnown error."})"},  // no local agent to hand it to
        {18, R"({"func40Interval":20})", -1, nullptr},
        {18, R"({"func40Interval":19})", 0, nullptr},
        {3, "{}", 0, nullptr},
        {17, "{}", 0, nullptr},
        {255, "{}", 0, nullptr},
    };
    for (const auto& [type, json, result, report] : cases) {
        ExpectReply(type, json, result);
        if (report == nullptr) continue;
        Cursor reports = platform_->FromStart();
        std::optional<LinkEvent> last;
        while (auto event = reports.WaitFor(IsReport(kFirmwareReport), Milliseconds(0))) last = event;
        ASSERT_TRUE(last) << json;
        EXPECT_EQ(report, last->text());
    }

    // Behind MsgType 25 they do the same and are not answered: the next reply is the command's.
    for (const auto& [type, json, result, report] : cases)
        ASSERT_TRUE(platform_->SendPlugData(mac_, type, json, MsgType::kPlugReply));
    EXPECT_EQ(12, Ask(kCpuUse).Word(6));
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
    LogInAtPlatform();
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
    ExpectReply(kPortForward, rule("1"), 0);
    ExpectReply(kPortForward, rule("1"), 0);
    EXPECT_EQ(clean +
                  "-A PREROUTING -d 203.0.113.24/32 -p tcp -m tcp --dport 8080 -j DNAT --to-destination "
                  "192.168.1.20:80\n"
                  "-A POSTROUTING -d 192.168.1.20/32 -p tcp -m tcp --dport 80 -j SNAT --to-source "
                  "203.0.113.24:8080\n",
              Shell("iptables -t nat -S"));
    EXPECT_EQ("hello from inside", Shell(connect));
    ExpectReply(kPortForward, rule("0"), 0);
    EXPECT_EQ(clean, Shell("iptables -t nat -S"));
    EXPECT_THROW(Shell(connect), std::runtime_error);

    // Values that a shell would take for more than a value.
    std::filesystem::create_directory("/tmp/trap");
    for (const char* value : {";>/tmp/trap/1", "$(>/tmp/trap/2)", "`>/tmp/trap/3`", "' >/tmp/trap/4 '",
                              "|>/tmp/trap/5 ", "\n>/tmp/trap/6\n", "&>/tmp/trap/7&"}) {
        for (const char* key : {"PRE_IP", "POST_IP"}) {
            Json hostile = Json::parse(rule("1"));
            hostile[key] = value;
            ExpectReply(kPortForward, hostile.dump(), 0);
        }
    }
    EXPECT_TRUE(std::filesystem::is_empty("/tmp/trap"));
    EXPECT_EQ(clean, Shell("iptables -t nat -S"));
}

TEST_F(PlugTest, PingAndTraceroute) {
    KeepKillsAtHome();
    AddNetwork("inside", "192.168.1.1/24", "192.168.1.20/24");
    LogInAtPlatform();
    const ByteVector inside = {192, 168, 1, 20};
    EXPECT_EQ(0, Ask(kPingStart, Target(inside, 100, 2)).result());
    EXPECT_EQ(1, Ask(kPingStart, Target(inside, 100, 2)).result()) << "one at a time";
    const std::string ping = Fetch(kPingFetch);
    EXPECT_TRUE(ping.starts_with("PING 192.168.1.20 (192.168.1.20) 100(128) bytes of data.\n")) << ping;
    EXPECT_NE(std::string::npos, ping.find("2 packets transmitted, 2 received")) << ping;
    EXPECT_EQ(std::string::npos, ping.find("ttl")) << ping;
    EXPECT_EQ(ping, Fetch(kPingFetch)) << "as often as one likes";

    EXPECT_EQ(0, Ask(kTraceStart, Target(inside)).result());
    AwaitLog("Exit killTrace");
    const std::string trace = Fetch(kTraceFetch);
    EXPECT_TRUE(trace.starts_with("traceroute to 192.168.1.20 ")) << trace;
    EXPECT_NE(std::string::npos, trace.find("\n 1  192.168.1.20  ")) << trace;
}

TEST_F(PlugTest, ATracerouteThatHangsIsEndedByItsFetch) {
    HangTraceroute();
    LogInAtPlatform();
    for (int run = 1; run <= 2; ++run) {
        EXPECT_EQ(0, Ask(kTraceStart, Target({203, 0, 113, 7})).result());
        EXPECT_EQ(1, Ask(kTraceStart, Target({203, 0, 113, 8})).result()) << "one at a time";
        ASSERT_TRUE(WaitForFile("/tmp/tracerouteFile", "-n 203.0.113.7\n", kPatience));
        EXPECT_EQ("-n 203.0.113.7\n", Fetch(kTraceFetch));
        ExpectLogged("Exit killTrace", run);
    }
    EXPECT_EQ(0, CountLog("kill traceroute"));
}

TEST_F(PlugTest, TheWatchdogEndsATracerouteThatHangs) {
    if (kSanitized) GTEST_SKIP() << kNeedsOwnClock;
    HangTraceroute();
    RunFast(60);
    LogInAtPlatform();
    EXPECT_EQ(0, Ask(kTraceStart, Target({203, 0, 113, 7})).result());
    AwaitLog("kill traceroute");
    const std::int64_t waited = LoggedAt("kill traceroute") - LoggedAt("ParserProtoolData funcid 51");
    EXPECT_GE(waited, 499);
    EXPECT_LT(waited, 700);
    AwaitLog("Exit killTrace");
    EXPECT_EQ("-n 203.0.113.7\n", Fetch(kTraceFetch));
    EXPECT_EQ(0, Ask(kTraceStart, Target({203, 0, 113, 7})).result());
}

TEST_F(PlugTest, RateTests) {
    const HttpServer server(Content(600'000));
    LogInAtPlatform();
    StartRateTest(server.Url("rate?slow=2"));
    ASSERT_TRUE(WaitUntil([&] { return !server.Requests().empty(); }, kPatience));
    StartRateTest(server.Url("second"));
    EXPECT_EQ(0, Ask(kRateStart).result()) << "accepted as well";
    const std::int32_t rate = AwaitRate();
    ASSERT_GT(rate, 0);
    EXPECT_EQ(600'000 / (600'000 / rate), rate) << "whole bytes by whole seconds";
    EXPECT_LE(rate, 600'000);
    EXPECT_EQ(1U, server.Requests().size()) << "one at a time";
    AwaitLog("route rate up ret 0");

    const std::pair<const char*, bool> cases[] = {
        {"a?404", false},      {"a?no-length", false}, {"a?early-close", false}, {"a?size=1024", false},
        {"a?size=1025", true}, {"a?dribble", true},    {"a?short-length", true}};
    for (const auto& [rest, measured] : cases) {
        SCOPED_TRACE(rest);
        const int ended = CountLog("route rate up ret");
        StartRateTest(server.Url(rest));
        EXPECT_EQ(measured, AwaitRate() != -1);
        AwaitLog("route rate up ret", ended + 1);
    }
}

TEST_F(PlugTest, TheDefaultRateTest) {
    Shell("ip addr add " PLUG_RATE_SERVER "/32 dev lo");
    const HttpServer server(Content(5000), 8199, PLUG_RATE_SERVER);
    LogInAtPlatform();
    EXPECT_EQ("000000000000000000000000", ToHex(ConstBytes(Ask(kRateStart).data).subspan(6)));
    EXPECT_NE(-1, AwaitRate());
    ASSERT_EQ(1U, server.Requests().size());
    EXPECT_EQ("GET /download/300.data HTTP/1.1\r\nHost:" PLUG_RATE_SERVER
              "\r\nAccept:*/*\r\nUser-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)\r\n"
              "Connection:Keep-Alive\r\n\r\n",
              server.Requests()[0]);
}

TEST_F(PlugTest, AFailedUpdateIsReported) {
    const std::string content = Content(4096);
    const HttpServer server(content);
    LogInAtPlatform();
    const struct {
        std::string url;
        std::string md5;
        std::optional<std::string> left;  // in the file
    } cases[] = {
        {server.Url("plug"), std::string(32, '0'), {}},
        {server.Url("plug"), Md5("another file"), {}},
        {server.Url("plug?short-length"), Md5(content), {}},
        {server.Url("plug?404"), Md5(content), ""},
        {server.Url("plug?early-close"), Md5(content), content.substr(0, 2048)},
        {"http://127.0.0.1:1/plug", Md5(content), ""},
    };
    for (const auto& [url, md5, left] : cases) {
        SCOPED_TRACE(url);
        OrderUpdate(url, md5);
        ExpectProgress(0, -1);
        AwaitStatuses("104");
        EXPECT_EQ(R"({"result":0})", AwaitReply().text());
        EXPECT_EQ(left.has_value(), std::filesystem::exists(kDownload));
        EXPECT_EQ(left.value_or(""), ReadFile(kDownload));
        std::filesystem::remove(kDownload);
    }
    EXPECT_EQ(12, Ask(kCpuUse).Word(6)) << "it runs on";
}

TEST_F(PlugTest, AnUpdateEndsTheAgent) {
    const std::string content = Content(4096);
    const HttpServer server(content);
    LogInAtPlatform();
    OrderUpdate(server.Url("plug?dribble"), Md5(content));
    ExpectProgress(1, 0);
    AwaitStatuses("004");
    EXPECT_EQ(255, AwaitExit());
    EXPECT_EQ(content, ReadFile(kDownload));
    EXPECT_NE(std::string::npos, server.Requests().at(0).find("GET /plug?dribble HTTP/1.1\r\n"));
    ExpectLogged("exit at [");
}

}  // namespace
}  // namespace plug::e2e
