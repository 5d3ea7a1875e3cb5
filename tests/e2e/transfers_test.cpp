// Downloads over a bad network: what is too slow or too long is given up, a link that is lost ends what it
// ordered, and a slow update that goes well keeps its session.
#include "bench/http_server.h"
#include "bench/layout.h"
#include "fixture.h"

namespace plug::e2e {
namespace {

constexpr std::uint16_t kConfigData = 87;
constexpr std::uint16_t kRateReport = 62;
constexpr std::uint8_t kUpdate = 2;
constexpr std::uint8_t kProgressReport = 3;
constexpr int kFast = 30;

class Transfers : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        server_ = std::make_unique<HttpServer>(std::string(100'000, 'p'));
        RunFast(kFast);
    }

    void OrderUpdate(const std::string& wishes) {
        const Json order = {{"pluginID", "p"},  {"fromVersion", "1"},
                            {"toVersion", "2"}, {"url", server_->Url("plug?" + wishes)},
                            {"fileLength", 1},  {"fileMD5", Md5(server_->content())},
                            {"token", "t"}};
        ASSERT_TRUE(platform_->SendPlugData(mac_, kUpdate, order.dump()));
    }
    /// How the update ends: its process and result.
    std::string AwaitProgress() {
        const Json report = Json::parse(Await("a report of progress", IsReport(kProgressReport)).text());
        return report.at("process").dump() + " " + report.at("result").dump();
    }
    void StartRateTest(const std::string& wishes) {
        const std::string url = Json{{"value_func61", server_->Url("rate?" + wishes)}}.dump();
        EXPECT_EQ(0, Ask(kConfigData, Counted(AsBytes(url))).result());
    }
    std::uint16_t AwaitRateResult() { return Await("a rate", IsAnswer(kRateReport)).result(); }
    /// Seconds of the agent between the header of the last transfer and its end.
    std::int64_t TransferTime() {
        AwaitLog("bytes early", CountLog("lens = "));
        return LoggedAt("bytes early") - LoggedAt("lens = ");
    }

    std::unique_ptr<HttpServer> server_;  // made in the sandbox
};

TEST_F(Transfers, TooFewBytesInHalfAMinuteAreGivenUp) {
    LogIn();
    // 10 bytes a second of the agent.
    OrderUpdate("slow=400");
    EXPECT_EQ("0 -1", AwaitProgress());
    EXPECT_GE(TransferTime(), 25);
    EXPECT_LE(TransferTime(), 60);
    EXPECT_EQ(R"({"result":0})", AwaitReply().text());
    AwaitStatuses("104");
    StartRateTest("slow=400");
    EXPECT_EQ(1, AwaitRateResult());
    ExpectAnswers();
    ExpectLogged("heart beep error", 0);
}

TEST_F(Transfers, TheWholeHasItsTime) {
    behaviour_.interval = 600;
    LogIn();
    StartRateTest("slow=10");
    EXPECT_EQ(1, AwaitRateResult());
    EXPECT_GE(TransferTime(), 85);
    EXPECT_LE(TransferTime(), 120);
    RunFast(60);
    OrderUpdate("size=1000000&slow=40");
    EXPECT_EQ("0 -1", AwaitProgress());
    EXPECT_GE(TransferTime(), 1780);
    EXPECT_LE(TransferTime(), 1900);
}

TEST_F(Transfers, ASlowUpdateKeepsItsSession) {
    LogIn();
    const int logins = platform_->Agents().at(0).logins;
    OrderUpdate("slow=10");
    EXPECT_EQ("1 0", AwaitProgress()) << "on the link that ordered it";
    AwaitStatuses("004");
    EXPECT_EQ(255, AwaitExit());
    ExpectWait("lens = ", "exit at [ParserPlugData] ", 5 * 60, 30 * 60);
    EXPECT_EQ(logins, platform_->Agents().at(0).logins);
}

TEST_F(Transfers, ALostLinkEndsWhatItOrdered) {
    LogIn();
    OrderUpdate("slow=60");
    AwaitLog("lens = ");
    platform_->Drop(mac_);
    AwaitStatuses("103 104");
    AwaitReLogin();
    ExpectLogged("bytes early");
    ExpectAnswers();
}

}  // namespace
}  // namespace plug::e2e
