// Functions 39 and 40: who has come online.
#include "subdev/online_report.h"

#include <unistd.h>

#include "commserver/comm_server.h"
#include "core/paths.h"
#include "platform/link_state.h"
#include "platform/uplink.h"
#include "subdev/function39.h"
#include "subdev/function40.h"
#include "support/home.h"
#include "support/local_peer.h"
#include "support/platform_peer.h"

namespace plug::test {
namespace {

constexpr int kMinute = 6;  // rounds

/// The last MAC bytes of the devices that were reported, in order; the marker behind them is consumed.
std::vector<int> Reported(PlatformPeer& peer) {
    std::vector<int> reported;
    SendHeartbeat();
    for (bench::LinkEvent report = peer.Next(); report.kind != bench::EventKind::kHeartbeat;
         report = peer.Next()) {
        EXPECT_EQ(40, report.data_type);
        EXPECT_EQ(47U, report.data.size());
        reported.push_back(report.data.at(13));
    }
    return reported;
}

using Macs = std::vector<int>;

class Function39 : public Sandbox {
  protected:
    static void Attach(std::initializer_list<int> macs) {
        Home home;
        for (const int mac : macs) home.devices.push_back({HomeMac(mac), "device " + std::to_string(mac)});
        home.Write();
    }
    static void Run(int rounds) {
        for (int i = 0; i < rounds; ++i) ASSERT_EQ(0, Fn39Round());
    }
};

TEST_F(Function39, ANewDeviceIsReportedOnceAtTheMinute) {
    Attach({1, 2});
    PlatformPeer peer;
    Run(kMinute - 1);
    EXPECT_TRUE(peer.NothingSent());
    EXPECT_TRUE(TakeSdkCalls().empty());
    Run(1);
    const bench::LinkEvent report = peer.Next();
    EXPECT_EQ(MsgType::kAddressedReport, report.header.type());
    EXPECT_EQ(40, report.data_type);
    EXPECT_EQ(kRouter, report.address);
    EXPECT_EQ("000028000000010000005e005301" + Field("device 1", 32) + "01", ToHex(report.data));
    EXPECT_EQ(Macs{2}, Reported(peer));
    Attach({3, 2, 1});
    Run(kMinute);
    EXPECT_EQ(Macs{3}, Reported(peer));
}

TEST_F(Function39, AFailedQueryIsMadeUpFor) {
    Home{.faults = R"("get_devs_cfg": 5)"}.Write();
    PlatformPeer peer;
    Run(kMinute - 1);
    CaptureLog();
    EXPECT_EQ(-1, Fn39Round());
    Home{.counts = R"("get_devs_cfg": 129)"}.Write();
    EXPECT_EQ(-1, Fn39Round());
    EXPECT_TRUE(Contains(CapturedLog(), "Func39 get_devs_cfg failed."));
    Attach({1});
    Run(1);
    EXPECT_EQ(Macs{1}, Reported(peer));
}

TEST_F(Function39, TheForgetPeriodKeepsWhoIsThere) {
    SetOnlineReport(true, 2 * kMinute);
    Attach({1, 2});
    PlatformPeer peer;
    Run(kMinute);
    EXPECT_EQ((Macs{1, 2}), Reported(peer));
    Attach({1});
    Run(kMinute);  // the end of the period: 2 is gone
    Attach({1, 2});
    Run(kMinute);
    EXPECT_EQ(Macs{2}, Reported(peer));
    EXPECT_EQ("00005e005301\r\n", ReadFile(kMacListPath)) << "written at the period's end only";
}

TEST_F(Function39, KnownDevicesSurviveARestart) {
    SetOnlineReport(true, kMinute);
    Attach({0xA1, 2});
    PlatformPeer peer;
    Run(kMinute);
    EXPECT_EQ((Macs{0xA1, 2}), Reported(peer));
    EXPECT_EQ("00005e0053a1\r\n00005e005302\r\n", ReadFile(kMacListPath));
    EXPECT_EQ(0, Fn39LoadMac());
    Run(kMinute);
    EXPECT_EQ(Macs{}, Reported(peer));

    WriteFile(kMacListPath, "no mac\r\n00005E0053A1\n00005e0053\r\n");
    EXPECT_EQ(0, Fn39LoadMac());
    Run(kMinute);
    EXPECT_EQ(Macs{2}, Reported(peer));

    unlink(kMacListPath);
    EXPECT_EQ(-1, Fn39LoadMac());
    Run(kMinute);
    EXPECT_EQ((Macs{0xA1, 2}), Reported(peer)) << "without a file everybody is new";

    SetLoggedIn(false);
    EXPECT_EQ(-2, Fn39UpdateMac());
    SetLoggedIn(true);
    WriteFile("/tmp/victim", "untouched");
    unlink(kMacListPath);
    ASSERT_EQ(0, symlink("/tmp/victim", kMacListPath));
    CaptureLog();
    EXPECT_EQ(-1, Fn39UpdateMac());
    EXPECT_TRUE(Contains(CapturedLog(), "file open error"));
    EXPECT_EQ("untouched", ReadFile("/tmp/victim"));
}

TEST_F(Function39, AFullListRemembersNobodyElse) {
    std::string file;
    for (int i = 0; i < 130; ++i)
        file += "0000000000" + ToHex(std::array{static_cast<std::uint8_t>(i)}) + "\r\n";
    WriteFile(kMacListPath, file);
    ASSERT_EQ(0, Fn39LoadMac());
    Attach({1, 2});
    PlatformPeer peer;
    Run(kMinute);
    EXPECT_EQ(Macs{1}, Reported(peer)) << "the pass ends with the one that cannot be remembered";
    Run(kMinute);
    EXPECT_EQ(Macs{1}, Reported(peer));
}

TEST_F(Function39, EndsForFunction40) {
    SetLogMask(kAllLevels);
    ASSERT_EQ(0, Fn39Init());
    Fn39Stop();  // at once, in the middle of its first wait
    ASSERT_EQ(0, CommServerStart());
    const LocalPeer client = LocalPeer::ConnectServed();
    WaitUntil(LocalClientSeen);
    CaptureLog();
    EXPECT_EQ(0, Fn39Init());
    const std::string log = CapturedLog();
    EXPECT_TRUE(Contains(log, "Use function 40\n"));
    EXPECT_FALSE(Contains(log, "LOAD macconfig"));
}

class Function40 : public Sandbox {
  protected:
    /// Hands over a list of `macs`, those below zero as offline.
    static void Push(std::initializer_list<int> macs) { PushRange(std::vector<int>(macs)); }
    static void PushRange(const std::vector<int>& macs) {
        ByteVector payload(2 + 39 * macs.size());
        ByteWriter out(payload);
        out.U16(static_cast<std::uint16_t>(macs.size()));
        for (const int mac : macs) {
            out.Copy(HomeMac(std::abs(mac)));
            out.Text("device " + std::to_string(std::abs(mac)), 32);
            out.U8(mac < 0 ? 0 : 1);
        }
        Fn40Handle(payload);
    }
    static Macs RoundReports(PlatformPeer& peer) {
        Fn40Round();
        return Reported(peer);
    }
};

TEST_F(Function40, ReportsOnce) {
    PlatformPeer peer;
    Push({7, 8});
    Fn40Round();
    EXPECT_EQ("000028000000010000005e005307" + Field("device 7", 32) + "01", ToHex(peer.Next().data));
    EXPECT_EQ(Macs{8}, Reported(peer));
    Push({8, 7, 9});
    EXPECT_EQ(Macs{9}, RoundReports(peer));
}

TEST_F(Function40, TheWalkStopsAtTheFirstOfflineDevice) {
    PlatformPeer peer;
    Push({1, -2, 3});
    EXPECT_EQ(Macs{1}, RoundReports(peer));
    Push({-1, 4});
    EXPECT_EQ(Macs{}, RoundReports(peer));
}

TEST_F(Function40, WhatIsNoDeviceIsIgnored) {
    PlatformPeer peer;
    ByteVector payload(2 + 3 * 39);
    payload[0] = 3;
    for (const std::size_t at : {2U, 41U, 80U}) payload[at + 38] = 1;
    std::fill_n(payload.begin() + 41, 6, std::uint8_t{0xFF});
    std::fill_n(payload.begin() + 80, 5, std::uint8_t{0xFF});  // nearly
    payload[85] = 5;
    Fn40Handle(payload);
    EXPECT_EQ(Macs{5}, RoundReports(peer));
}

TEST_F(Function40, CountsAndLengthsAreChecked) {
    PlatformPeer peer;
    ByteVector payload(5129, 1);
    const auto handle = [&payload](std::uint16_t count, std::size_t length) {
        payload[0] = static_cast<std::uint8_t>(count);
        payload[1] = static_cast<std::uint8_t>(count >> 8);
        CaptureLog();
        Fn40Handle(ConstBytes(payload).first(length));
        const std::string log = CapturedLog();
        if (Contains(log, "Subdev number error.")) return std::string("number");
        if (Contains(log, "Subdev length error.")) return std::string("length");
        return std::string();
    };
    EXPECT_EQ("number", handle(0, 100));
    EXPECT_EQ("number", handle(129, 5128));
    EXPECT_EQ("number", handle(256, 5128));
    EXPECT_EQ("number", handle(1, 0));
    EXPECT_EQ("length", handle(1, 38));
    EXPECT_EQ("length", handle(1, 5129));
    EXPECT_EQ(Macs{}, RoundReports(peer));
    EXPECT_EQ("", handle(128, 39)) << "less than it announces: no status, no device";
    EXPECT_EQ(Macs{}, RoundReports(peer));
    EXPECT_EQ("", handle(128, 5128));
    EXPECT_EQ(Macs{1}, RoundReports(peer));
}

TEST_F(Function40, TheTableHolds128UntilItIsForgotten) {
    SetOnlineReport(true, kMinute);
    PlatformPeer peer;
    std::vector<int> many;
    for (int i = 1; i <= 100; ++i) many.push_back(i);
    PushRange(many);
    many.clear();
    for (int i = 101; i <= 129; ++i) many.push_back(i);
    PushRange(many);
    const Macs reported = RoundReports(peer);  // round counter 0
    ASSERT_EQ(128U, reported.size());
    EXPECT_EQ(128, reported.back());
    for (int round = 1; round < kMinute; ++round) {
        Push({129, 1});
        EXPECT_EQ(Macs{}, RoundReports(peer)) << round;
    }
    Fn40Round();  // the counter has reached the limit: all are forgotten
    Push({129, 1});
    EXPECT_EQ((Macs{129, 1}), RoundReports(peer));
    for (int round = 2; round < kMinute; ++round) EXPECT_EQ(Macs{}, RoundReports(peer)) << round;
    Fn40Round();  // from now on one round sooner, as the counter began at 1
    Push({1});
    EXPECT_EQ(Macs{1}, RoundReports(peer));
}

TEST_F(Function40, TheTableIsKeptWhileReportsAreOff) {
    PlatformPeer peer;
    SetOnlineReport(false);
    Push({1});
    EXPECT_EQ(Macs{}, RoundReports(peer));
    SetOnlineReport(true, 30);
    Push({1, 2});
    EXPECT_EQ(Macs{2}, RoundReports(peer));
}

TEST_F(Function40, StartsEmptyAndStopsWhileItWaits) {
    PlatformPeer peer;
    Push({1});
    ASSERT_EQ(0, Fn40Init());
    Fn40Stop();
    EXPECT_EQ(Macs{}, RoundReports(peer));
}

}  // namespace
}  // namespace plug::test
