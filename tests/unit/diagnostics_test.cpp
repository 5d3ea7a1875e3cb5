// Ping, traceroute, rate test, configuration data and version report, as the platform sees them.
#include "commands/diagnostics.h"

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>

#include "bench/http_server.h"
#include "commands/config_data.h"
#include "commands/ping.h"
#include "commands/rate_test.h"
#include "commands/version_report.h"
#include "core/shell.h"
#include "core/version.h"
#include "platform/session.h"
#include "support/command.h"
#include "support/platform_peer.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

class Diagnostics : public Sandbox {
  protected:
    ~Diagnostics() override { StopDiagnostics(); }

    /// The answer to a function command from its result on.
    static std::string Run(std::uint8_t id, std::string_view parameters = {}) {
        return std::string(AsText(RunCommand(id, AsBytes(parameters))));
    }

    /// Parameters of a ping at 192.0.2.33.
    static std::string PingOf(int size, int count) {
        std::string parameters = "\xC0" + std::string("\0\x02\x21", 3) + std::string(16, '\xEE');
        for (const int value : {size, count}) {
            parameters += static_cast<char>(value);
            parameters += static_cast<char>(value >> 8);
        }
        return parameters;
    }

    /// A 16-bit length and the text.
    static std::string Counted(const std::string& text) {
        return std::string{static_cast<char>(text.size()), static_cast<char>(text.size() >> 8)} + text;
    }

    static inline const std::string kBusy = std::string("\1\0", 2);
    static inline const std::string kOk = std::string("\0\0", 2);
};

TEST_F(Diagnostics, APingIsFetchedWithoutItsReplies) {
    Program("ping", "echo 'PING head'; echo '64 bytes: ttl=64'; echo 'reply TTL=3'; echo; echo '1 received'");
    EXPECT_EQ(kOk + Counted(""), Run(9)) << "nothing was started yet";
    // The next one starts whether the last was fetched or not, and its count is at most 50.
    for (const int count : {50, 51}) {
        std::string answer;
        WaitUntil([&] { return (answer = Run(8, PingOf(65535, count))) != kBusy; });
        EXPECT_EQ(kOk, answer);
    }
    std::string fetched;
    WaitUntil([&fetched] { return (fetched = Run(9)) != kBusy; });
    EXPECT_EQ(kOk + Counted("PING head\n\n1 received\n"), fetched);
    EXPECT_EQ(fetched, Run(9)) << "it can be fetched again";
    EXPECT_EQ(Lines(2, "ping [-s] [65535] [-c] [50] [192.0.2.33]"), ProgramCalls());
}

TEST_F(Diagnostics, APingThatCannotBeStartedStaysBusy) {
    rlimit open_files{};
    getrlimit(RLIMIT_NOFILE, &open_files);
    const rlimit none{0, open_files.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(-1, PopenParsePing(1, 1, "192.0.2.1"));
    setrlimit(RLIMIT_NOFILE, &open_files);
    EXPECT_EQ(kBusy, Run(9));
    EXPECT_EQ(kBusy, Run(8, PingOf(1, 1)));
}

TEST_F(Diagnostics, PingOutputIsCutAtAWholeLine) {
    // 19 lines of 200 characters fit with one of 199, and nothing more.
    const std::string line(199, 'x');
    std::string most;
    for (int i = 0; i < 19; ++i) most += line + "\n";
    Program("ping", "cat /tmp/output");
    const auto ping = [](const std::string& output) {
        WriteFile("/tmp/output", output);
        EXPECT_EQ(0, PopenParsePing(1, 1, "192.0.2.1"));
        return std::string(*FetchPing());
    };
    const std::string full = most + std::string(198, 'y') + "\n";
    EXPECT_EQ(3999U, full.size());
    EXPECT_EQ(full, ping(full));
    EXPECT_EQ(full, ping(full + "z\n"));
    EXPECT_EQ(most, ping(most + line + "\nz\n")) << "reading stops at the line that does not fit";

    // A line over 254 characters comes in pieces, each looked at for itself.
    EXPECT_EQ(std::string(254, 'a') + "\n", ping(std::string(254, 'a') + "ttl ttl\n\n"));
}

TEST_F(Diagnostics, ATracerouteIsCutAtItsRoom) {
    Program("killall");
    EXPECT_EQ(kBusy, Run(52)) << "no file";
    WriteFile("/tmp/tracerouteFile", std::string(5000, 't'));
    EXPECT_EQ(kOk + Counted(std::string(3999, 't')), Run(52));
}

TEST_F(Diagnostics, ATracerouteIsKilledUntilItEnds) {
    ASSERT_EQ(0, mkfifo("/tmp/end", 0600));
    Program("traceroute", "echo trace; timeout 20 cat /tmp/end >/tmp/ended");
    // The first kill comes too early.
    Program("killall", "[ -e /tmp/early ] || exec touch /tmp/early; exec 3<>/tmp/end; echo >&3");
    for (int run = 0; run < 2; ++run) {
        unlink("/tmp/early");
        ForgetProgramCalls();
        EXPECT_EQ(kOk, Run(51, "\x7F"));
        EXPECT_EQ(kBusy, Run(51, "\x7F")) << "one at a time";
        EXPECT_EQ(kOk + Counted("trace\n"), Run(52));
        const Lines calls = ProgramCalls();
        EXPECT_LE(2, std::ranges::count(calls, "killall [-9] [traceroute]"));
    }
}

TEST_F(Diagnostics, ATraceroutesFileIsItsOwn) {
    constexpr char kFile[] = "/tmp/tracerouteFile";
    Program("killall");
    Program("traceroute", "echo trace");
    ExpectOthersMakeWay(kFile, [] {
        EXPECT_EQ(kOk, Run(51, "\x7F"));
        EXPECT_EQ(kOk + Counted("trace\n"), Run(52));
    });
    WriteFile("/tmp/secret", "secret");
    ASSERT_EQ(0, symlink("/tmp/secret", kFile));
    EXPECT_EQ(kBusy, Run(52)) << "another's is not read";
}

TEST_F(Diagnostics, AProgramCanBeAskedToEnd) {
    // The agent's threads block the signals that end it, and not every shell lets them through again.
    ASSERT_EQ(0, mount("/bin/busybox", "/bin/sh", nullptr, MS_BIND, nullptr));
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    EXPECT_EQ(0, RunShell("grep SigBlk /proc/self/status >/tmp/mask"));
    EXPECT_EQ("SigBlk:\t0000000000000000\n", ReadFile("/tmp/mask"));
}

TEST_F(Diagnostics, NoProgramOutlivesTheirEnd) {
    EndShellCommands();
    EXPECT_EQ(SIGKILL, RunShell("sleep 600"));
    FILE* const output = OpenShell("sleep 600");
    ASSERT_NE(nullptr, output);
    EXPECT_EQ(SIGKILL, CloseShell(output));
}

class RateTest : public Diagnostics {
  protected:
    void ExpectReport(int result, std::int32_t rate) {
        const auto* bytes = reinterpret_cast<const char*>(&rate);
        platform_.ExpectNext(
            MsgType::kFunctionReply, 0,
            std::string("\0\0\x3E\0", 4) + static_cast<char>(result) + '\0' + std::string(bytes, 4));
    }

    static std::string ConfigOf(const std::string& url) { return R"({"value_func61":")" + url + R"("})"; }

    PlatformPeer platform_;
    const std::string file_ = std::string(2000, 'r');
};

TEST_F(RateTest, RunsAgainstTheDefaultServer) {
    ASSERT_EQ(0, bench::Run({.argv = {"ip", "addr", "add", "192.0.2.1/32", "dev", "lo"}}).status);
    bench::HttpServer server(file_, 8199, "192.0.2.1");
    EXPECT_EQ(kOk + std::string(12, '\0'), Run(61));
    EXPECT_EQ(0U, server.NextRequest().find("GET /download/300.data HTTP/1.1\r\nHost:192.0.2.1\r\n"));
    ExpectReport(0, 0);
}

TEST_F(RateTest, UrlForms) {
    bench::HttpServer server(file_, 80);
    bench::HttpServer other(file_);
    const std::string port = ":" + std::to_string(other.port());
    const std::tuple<std::string, bench::HttpServer&, std::string> good[] = {
        {"http://127.0.0.1/a/b", server, "GET /a/b HTTP/1.1\r\nHost:127.0.0.1\r\n"},
        {"http://127.0.0.1/a:b/c", server, "GET /a:b/c HTTP/1.1\r\nHost:127.0.0.1\r\n"},
        {"http://127.0.0.1" + port + "/", other, "GET / HTTP/1.1\r\nHost:127.0.0.1\r\n"},
        {"any://127.1" + port + "/x", other, "GET /x HTTP/1.1\r\nHost:127.1\r\n"},
    };
    for (const auto& [url, asked, request] : good) {
        RateTestProc(url.c_str());
        EXPECT_EQ(0U, asked.NextRequest().find(request)) << url;
        ExpectReport(0, 0);
    }
    const std::string longest(64, 'h');
    for (const std::string& host : {longest, std::string("hhh")}) {
        RateTestProc(("http://" + host + "/x").c_str());
        ExpectReport(1, -1);
    }
    for (const std::string& url : {std::string("http://h:8080/x"), std::string("http://hh/x"),
                                   "http://" + longest + "h/x", std::string("127.0.0.1/x"),
                                   std::string("http://127.0.0.1"), "http://127.0.0.1" + port, std::string()})
        RateTestProc(url.c_str());
    EXPECT_TRUE(platform_.NothingSent()) << "a malformed URL is not reported";
}

TEST_F(RateTest, ConfigurationDataIsChecked) {
    EXPECT_EQ(kBusy, Run(87)) << "length 0";
    for (const std::string json : {"1", "{}", "{\"value_func61\":5}", "{\"value_func61\":", "[]"})
        EXPECT_EQ(kBusy, Run(87, Counted(json))) << json;
    const auto padded = [](std::size_t size) {
        const std::string json = ConfigOf("no url");
        return json + std::string(size - json.size(), ' ');
    };
    EXPECT_EQ(kOk, Run(87, Counted(padded(1023))));
    EXPECT_EQ(kBusy, Run(87, Counted(padded(1024))));
    EXPECT_EQ(1, ParseConfigData(padded(1024)));
    JoinRateTest();
    EXPECT_TRUE(platform_.NothingSent());
}

TEST_F(RateTest, TheVersionIsReported) {
    EXPECT_EQ(0, dev_fwversion_report());
    platform_.ExpectNext(MsgType::kDataReport, 14,
                         std::string(R"({"version":"2.4.1820221227","sdkVersion":")") + kVersion +
                             R"(","interval1":-1,"interval2":-1,"interval3":-1,"configed":"no"})");
    router_version early{};
    early.date[0] = 8;
    for (const bool both : {true, false}) {
        const JsonPtr report = VersionReport(early, {-1, 0, both ? 0 : -1});
        EXPECT_STREQ("08000000", JsonString(report.get(), "version"));
        EXPECT_STREQ(both ? "yes" : "no", JsonString(report.get(), "configed"));
    }
    WriteFile(kHomePath, R"({"faults":{"get_router_version":5}})");
    EXPECT_EQ(-1, dev_fwversion_report());
    EXPECT_TRUE(platform_.NothingSent());
}

}  // namespace
}  // namespace plug::test
