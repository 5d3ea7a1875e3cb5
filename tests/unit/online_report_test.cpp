// Functions 39 and 40: who has come online.
#include "subdev/online_report.h"

#include <unistd.h>

#include <numeric>

#include "bench/local_peer.h"
#include "core/paths.h"
#include "platform/uplink.h"
#include "subdev/function39.h"
#include "subdev/function40.h"
#include "support/home.h"
#include "support/platform_peer.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

constexpr int kMinute = 6;  // rounds

using Macs = std::vector<int>;

class OnlineReport : public Sandbox {
  protected:
    /// The last MAC bytes of the devices that were reported, in order; the marker behind them is consumed.
    Macs Reported() {
        Macs reported;
        SendHeartbeat();
        for (;;) {
            const bench::LinkEvent report = peer_.Next();
            if (report.kind == bench::EventKind::kHeartbeat) return reported;
            EXPECT_EQ(40, report.data_type);
            EXPECT_EQ(47U, report.data.size());
            reported.push_back(report.data.at(13));
        }
    }

    PlatformPeer peer_;
};

class Function39 : public OnlineReport {
  protected:
    static void Attach(const Macs& macs) {
        Home home;
        for (const int mac : macs) home.devices.push_back({HomeMac(mac), "device " + std::to_string(mac)});
        home.Write();
    }
    Macs ReportedAfter(int rounds) {
        for (int i = 0; i < rounds; ++i) EXPECT_EQ(0, Fn39Round());
        return Reported();
    }
};

TEST_F(Function39, ANewDeviceIsReportedOnceAtTheMinute) {
    Attach({1, 2});
    EXPECT_EQ(Macs{}, ReportedAfter(kMinute - 1));
    EXPECT_TRUE(TakeSdkCalls().empty());
    EXPECT_EQ(0, Fn39Round());
    peer_.ExpectNext(MsgType::kAddressedReport, 40,
                     Unhex("000028000000010000005e005301" + Field("device 1", 32) + "01"));
    EXPECT_EQ(Macs{2}, Reported());
    Attach({3, 2, 1});
    EXPECT_EQ(Macs{3}, ReportedAfter(kMinute));
}

TEST_F(Function39, AFailedQueryIsMadeUpFor) {
    Home{.faults = R"("get_devs_cfg": 5)"}.Write();
    ReportedAfter(kMinute - 1);
    EXPECT_EQ(-1, Fn39Round());
    Home{.counts = R"("get_devs_cfg": 129)"}.Write();
    EXPECT_EQ(-1, Fn39Round());
    Macs most(128);
    std::iota(most.begin(), most.end(), 1);
    Attach(most);
    EXPECT_EQ(most, ReportedAfter(1));
}

TEST_F(Function39, KnownDevicesSurviveARestart) {
    SetOnlineReport(true, kMinute);
    Attach({0xA1, 2});
    WriteFile(kMacListPath, "no mac\r\n00005E0053A1\n00005e0053\r\n");
    EXPECT_EQ(0, Fn39LoadMac());
    EXPECT_EQ(Macs{2}, ReportedAfter(kMinute));

    EXPECT_EQ("00005e0053a1\r\n00005e005302\r\n", ReadFile(kMacListPath)) << "at the period's end";

    unlink(kMacListPath);
    EXPECT_EQ(-1, Fn39LoadMac());
    EXPECT_EQ((Macs{0xA1, 2}), ReportedAfter(kMinute)) << "without a file everybody is new";
    ExpectOthersMakeWay(kMacListPath, [] { EXPECT_EQ(0, Fn39UpdateMac()); });
}

TEST_F(Function39, AFullListRemembersNobodyElse) {
    std::string file;
    for (int i = 100; i < 230; ++i) file += "000000000" + std::to_string(i) + "\r\n";
    WriteFile(kMacListPath, file);
    ASSERT_EQ(0, Fn39LoadMac());
    Attach({1, 2});
    EXPECT_EQ(Macs{1}, ReportedAfter(kMinute)) << "the pass ends with the one that cannot be remembered";
    EXPECT_EQ(Macs{1}, ReportedAfter(kMinute));
}

class Function40 : public OnlineReport {
  protected:
    /// Hands over a list of `macs`, those below zero as offline.
    static void Push(const std::vector<int>& macs) {
        std::vector<bench::ReportedDevice> devices;
        for (const int mac : macs)
            devices.push_back({HomeMac(std::abs(mac)), "device " + std::to_string(std::abs(mac)), mac > 0});
        Fn40Handle(bench::DevicesPayload(devices));
    }
    Macs RoundReports() {
        Fn40Round();
        return Reported();
    }
};

TEST_F(Function40, ReportsOnceUpToTheFirstOfflineDevice) {
    Push({7, 8});
    Fn40Round();
    peer_.ExpectNext(MsgType::kAddressedReport, 40,
                     Unhex("000028000000010000005e005307" + Field("device 7", 32) + "01"));
    EXPECT_EQ(Macs{8}, Reported());
    Push({8, 7, 9, -2, 3});
    EXPECT_EQ(Macs{9}, RoundReports());
    Push({-1, 4});
    EXPECT_EQ(Macs{}, RoundReports());
    SetOnlineReport(false);
    Push({5});
    EXPECT_EQ(Macs{}, RoundReports());
    SetOnlineReport(true, 30);
    Push({5, 9, 6});
    EXPECT_EQ(Macs{6}, RoundReports()) << "the table is kept while reports are off";

    // A MAC of zeros and one of all ones are no devices; one that is nearly so is.
    constexpr MacAddress kOnes = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    Fn40Handle(
        bench::DevicesPayload({{{}, "", true}, {kOnes, "", true}, {{0xFF, 0xFF, 0, 0, 0, 5}, "", true}}));
    EXPECT_EQ(Macs{5}, RoundReports());
}

TEST_F(Function40, CountsAndLengthsAreChecked) {
    ByteVector payload(5129, 1);
    const auto handle = [&payload](std::uint16_t count, std::size_t length) {
        payload[0] = static_cast<std::uint8_t>(count);
        payload[1] = static_cast<std::uint8_t>(count >> 8);
        return LogOf([&] { Fn40Handle(ConstBytes(payload).first(length)); });
    };
    for (const auto& [count, length] : std::initializer_list<std::pair<std::uint16_t, std::size_t>>{
             {0, 100}, {129, 5128}, {256, 5128}, {1, 0}})
        EXPECT_TRUE(Contains(handle(count, length), "Subdev number error.")) << count;
    EXPECT_TRUE(Contains(handle(1, 38), "Subdev length error."));
    EXPECT_TRUE(Contains(handle(1, 5129), "Subdev length error."));
    EXPECT_EQ("", handle(128, 39)) << "less than it announces: no status, no device";
    EXPECT_EQ(Macs{}, RoundReports());
    EXPECT_EQ("", handle(128, 5128));
    EXPECT_EQ(Macs{1}, RoundReports());
}

TEST_F(Function40, TheTableHolds128UntilItIsForgotten) {
    SetOnlineReport(true, kMinute);
    std::vector<int> many(100);
    std::iota(many.begin(), many.end(), 1);
    Push(many);
    std::iota(many.begin(), many.end(), 101);
    many.resize(29);
    Push(many);
    const Macs reported = RoundReports();  // round counter 0
    ASSERT_EQ(128U, reported.size());
    EXPECT_EQ(128, reported.back());
    for (int round = 1; round < kMinute; ++round) {
        Push({129, 1});
        EXPECT_EQ(Macs{}, RoundReports()) << round;
    }
    Fn40Round();  // the counter has reached the limit: all are forgotten
    Push({129, 1});
    EXPECT_EQ((Macs{129, 1}), RoundReports());
    for (int round = 2; round < kMinute; ++round) EXPECT_EQ(Macs{}, RoundReports()) << round;
    Fn40Round();  // from now on one round sooner, as the counter began at 1
    Push({1});
    EXPECT_EQ(Macs{1}, RoundReports());
}

}  // namespace
}  // namespace plug::test
