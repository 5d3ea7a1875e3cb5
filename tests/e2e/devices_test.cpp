// The devices behind the router: the scan's report, who is reported as new, who is barred when, and lists
// that cannot be carried out.
#include <sys/resource.h>

#include <cstring>
#include <map>
#include <set>

#include "bench/router_state.h"
#include "fixture.h"
#include "network.h"

namespace plug::e2e {
namespace {

constexpr std::uint16_t kScan = 64;
constexpr std::uint16_t kLimits = 66;
constexpr std::uint16_t kWindows = 69;
constexpr std::uint8_t kInterval = 18;
constexpr std::uint8_t kOnlineReport = 40;
constexpr std::uint8_t kScanReport = 63;

constexpr char kDesktop[] = "00:00:5E:00:53:B1";
constexpr char kTablet[] = "00:00:5E:00:53:B2";
constexpr char kPhone[] = "00:00:5E:00:53:B3";
constexpr char kConsole[] = "00:00:5E:00:53:B4";
constexpr char kCamera[] = "00:00:5E:00:53:B5";

/// A device that is named after the end of its MAC and has its address there too.
Json DeviceOf(const std::string& mac) {
    const std::string end = mac.substr(mac.size() - 2);
    return {{"online", true},
            {"mac", mac},
            {"address", "192.168.1." + std::to_string(std::stoi(end, nullptr, 16))},
            {"name", end},
            {"access", true}};
}

class Devices : public AgentTest {
  protected:
    /// Starts the agent with these devices in the home.
    void LogInWith(const std::vector<const char*>& macs) {
        Json home = {{"router", {{"mac", "00:00:5E:00:53:01"}, {"serial_number", "S1"}}},
                     {"cpu", {{"use_percent", 12}}},
                     {"black_list", {kTablet}},
                     {"call_log", "/tmp/calls"}};
        for (const char* mac : macs) home["devices"].push_back(DeviceOf(mac));
        setup_.router = home.dump();
        LogIn();
        setup_.router.clear();  // a restart finds the router as it is
    }
    /// The MAC of the next device that is reported to be online.
    std::string AwaitOnline() {
        const LinkEvent report = Await("an online report", IsReport(kOnlineReport));
        EXPECT_EQ(kRouterMac, report.address);
        return ToHex(ConstBytes(report.data).subspan(8, 6));
    }
    void SetOnlineInterval(int minutes) {
        ExpectResult(0, kInterval, Json{{"func40Interval", minutes}}.dump());
    }
    /// Lets a device come or go.
    void Switch(const std::string& mac, bool online) const {
        router_.Change(
            [&](Json& home) { (*RouterState::FindDevice(home, ParseMac(mac).value()))["online"] = online; });
    }
    /// The devices without access.
    std::set<std::string> Barred() const {
        const Json home = router_.Read();
        std::set<std::string> barred;
        for (const Json& device : home.at("devices"))
            if (!device.at("access").get<bool>()) barred.insert(device.at("mac"));
        return barred;
    }

    RouterState router_{"/tmp/router.json"};
};

TEST_F(Devices, AScanAddsWhomTheKernelKnows) {
    AddNetwork("home", "192.168.1.1/24", "192.168.1.2/24");
    Shell("ip addr add 10.0.0.1/24 dev home");
    for (const char* neighbour :
         {"192.168.1.177 lladdr 00:00:5e:00:53:b1",  // known to the router too
          "192.168.1.30 lladdr 00:00:5e:00:53:c0", "192.168.1.40 lladdr 00:00:00:00:00:00",
          "10.0.0.9 lladdr 00:00:5e:00:53:c9"})  // of another network
        Shell(std::string("ip neigh add ") + neighbour + " dev home nud permanent");
    LogInWith({kDesktop, kTablet});
    EXPECT_EQ(0, Ask(kScan).result());
    const LinkEvent report = Await("a scan's report", IsReport(kScanReport));
    EXPECT_EQ(kRouterMac, report.address);
    // Address, MAC, name and two bandwidths; whether it is listed, allowed and has access.
    const std::string idle(2 * 16, '0');
    const std::string listed = "c0a801b1 00005e0053b1 42310000000000000000000000000000" + idle + "01 01 01" +
                               "c0a801b2 00005e0053b2 42320000000000000000000000000000" + idle + "01 00 01";
    const std::string found = "c0a8011e 00005e0053c0 756e6b6e6f776e2d6465766963650000" + idle + "00 01 01";
    EXPECT_EQ(ToHex(ParseHex("0000 3f00 0000 0300" + listed + found)), ToHex(report.data));
}

TEST_F(Devices, ATriggerDuringAScanIsLost) {
    behaviour_.interval = 20;
    RunFast(20);
    LogInWith({kDesktop});
    for (int trigger = 0; trigger < 2; ++trigger) ASSERT_TRUE(platform_->SendCommand(mac_, kScan, {}));
    Await("a scan's report", IsReport(kScanReport));
    // A second scan would follow a pause of four seconds; two heartbeats are twenty apart.
    Await(EventKind::kHeartbeat);
    Await(EventKind::kHeartbeat);
    ExpectLogged("DataType=[63]", 1);
    ASSERT_TRUE(platform_->SendCommand(mac_, kScan, {}));
    Await("a scan's report", IsReport(kScanReport));
}

TEST_F(Devices, FourteenAreLeftInPeaceForFourSeconds) {
    std::vector<std::string> texts;
    for (int i = 0; i < 14; ++i) texts.push_back("00:00:5E:00:53:" + std::to_string(50 + i));
    std::vector<const char*> macs;
    for (const std::string& text : texts) macs.push_back(text.c_str());
    RunFast(5);
    LogInWith(macs);
    const std::string reported = "DataType=[63]";
    ASSERT_TRUE(WaitUntil([&] { return platform_->SendCommand(mac_, kScan, {}) && CountLog(reported) >= 2; },
                          kPatience));
    EXPECT_GE(LoggedAt(reported, 2) - LoggedAt(reported, 1), 4);
}

TEST_F(Devices, WindowsAreAppliedEveryHalfMinute) {
    RunFast(5);
    LogInWith({kDesktop});
    const std::string pass = "Sub dev num:";
    AwaitLog(pass, 2);
    const std::int64_t pause = LoggedAt(pass, 2) - LoggedAt(pass, 1);
    EXPECT_TRUE(pause >= 30 && pause < 50) << pause;
}

TEST_F(Devices, AFailedQueryIsRepeatedAfterAMinute) {
    RunFast(60);
    setup_.router = R"({"router": {"mac": "00:00:5E:00:53:01", "serial_number": "S1"},
                        "faults": {"get_devs_cfg": 5}})";
    LogIn();
    const std::string failed = "Func39 get_devs_cfg failed.";
    AwaitLog(failed, 2);
    EXPECT_GE(LoggedAt(failed, 2) - LoggedAt(failed, 1), 69) << "a minute, and the round's ten seconds";
}

TEST_F(Devices, NewOnesAreReportedOnce) {
    RunFast(60);
    LogInWith({kDesktop, kTablet});
    SetOnlineInterval(1);
    EXPECT_EQ("00005e0053b1", AwaitOnline());
    EXPECT_EQ("00005e0053b2", AwaitOnline());
    ASSERT_TRUE(WaitForFile("/tmp/macconfig", "00005e0053b1\r\n00005e0053b2\r\n", kPatience));

    // Known across a restart: only the newcomer is reported.
    router_.Change([](Json& home) { home["devices"].push_back(DeviceOf(kPhone)); });
    LogIn();
    EXPECT_EQ("00005e0053b3", AwaitOnline());
    SetOnlineInterval(1);

    // One that stays away for a period is new again.
    Switch(kTablet, false);
    ASSERT_TRUE(WaitForFile("/tmp/macconfig", "00005e0053b1\r\n00005e0053b3\r\n", kPatience));
    Switch(kTablet, true);
    EXPECT_EQ("00005e0053b2", AwaitOnline());

    // Nobody is looked for while the reports are off.
    SetOnlineInterval(0);
    const int queries = CountLog("Func39 query...");
    AwaitLog("Sub dev num:", CountLog("Sub dev num:") + 6);  // three minutes of the access control's rounds
    EXPECT_LE(CountLog("Func39 query..."), queries + 1) << "one may have been due";

    // A local peer tells by itself who is there.
    SetOnlineInterval(1);
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    AwaitLog("Use function 40");
    ASSERT_TRUE(peer.Send(kOnlineReport, DevicesPayload({{ParseMac(kCamera).value(), "camera"}})));
    EXPECT_EQ("00005e0053b5", AwaitOnline());
    ExpectLogged("Use function 40");
}

/// A time in which a device is barred on some weekdays; both minutes of the day belong to it.
struct Window {
    const char *mac, *days;
    const char *start, *stop;
};

/// The minute of the day of "8:30".
int Minute(const std::string& time) {
    return std::stoi(time) * 60 + std::stoi(time.substr(time.find(':') + 1));
}

/// Who is barred behind a look at the clock: a device follows the windows of the weekday, and is left alone
/// on a day that has none for it. On Sundays nobody has any. Returns for how many that is a change.
int Look(const std::vector<Window>& windows, std::int64_t time, std::set<std::string>& barred) {
    const char weekday = static_cast<char>('0' + (time / 86400 + 4) % 7);  // 1970 began on a Thursday
    const std::int64_t minute = time % 86400 / 60;
    std::map<std::string, bool> bars;
    for (const Window& window : windows) {
        if (!strchr(window.days, weekday)) continue;
        bars[window.mac] |= Minute(window.start) <= minute && minute <= Minute(window.stop);
    }
    int changes = 0;
    for (const auto& [mac, bar] : bars) {
        changes += static_cast<int>(bar ? barred.insert(mac).second : barred.erase(mac));
    }
    return changes;
}

// From one Sunday to the Monday after the next, around every edge of a window on every day.
TEST_F(Devices, AWeekOfWindows) {
    constexpr std::int64_t kDay = 86400;
    constexpr int kRound = 30;
    const std::vector<Window> found = {
        {kDesktop, "1357", "8:00", "9:30"},    {kDesktop, "3", "9:00", "21:15"},
        {kTablet, "1234567", "22:00", "6:00"},  // past midnight: never
        {kPhone, "56", "22:00", "23:59"},       // both ends of a night; Saturday's bar stays
        {kPhone, "16", "0:00", "6:30"},         // for all of Sunday
        {kConsole, "7", "0:00", "23:59"},
    };
    std::vector<Window> sent = found;
    sent.push_back({"00:00:5e:00:53:b4", "1234567", "0:00", "23:59"});
    Json list = Json::array();
    std::set<int> edges;
    for (const auto& [mac, days, start, stop] : sent) {
        list.push_back(
            {{"FLAG", "1"}, {"MAC", mac}, {"DAY", days}, {"START", start}, {"STOP", stop}, {"ALLOW", "1"}});
        edges.insert({Minute(start), Minute(stop)});
        if (Minute(start) > 0) edges.insert(Minute(start) - 1);
        if (Minute(stop) < Minute("23:59")) edges.insert(Minute(stop) + 1);
    }

    std::int64_t sunday = std::time(nullptr) / kDay + 1;
    while ((sunday + 4) % 7 != 0) ++sunday;
    behaviour_.answer_heartbeats = false;  // nobody shall take the jumps for silence
    RunFast(150);
    JumpAhead(sunday * kDay - std::time(nullptr));
    LogInWith({kDesktop, kTablet, kPhone, kConsole, kCamera});
    EXPECT_EQ(0, Ask(kWindows, AsBytes(Json{{"LIST", list}}.dump())).result());

    // Each round ends with the camera, which has no windows, and is judged by its own time. A jump to five
    // seconds behind the point lets a round and the one after it fall into the same minute.
    const std::string round_done = std::string("Can't find rule for : ") + kCamera;
    int rounds = 0;
    std::int64_t now = 0;
    int changes = 0;
    std::set<std::string> expected;
    std::set<std::string> barred;
    const auto look_until = [&](std::int64_t point) {
        do {
            now = LoggedAt(round_done, ++rounds);
            changes += Look(found, now, expected);
            barred = Barred();
        } while (now < point || CountLog(round_done) > rounds);
    };
    look_until(0);
    ExpectWait("TimeRuleProc runing...", round_done, kRound, 200, 1);
    for (std::int64_t day = sunday; day <= sunday + 8; ++day) {
        for (const int edge : edges) {
            const std::int64_t point = day * kDay + edge * 60;
            if (point < now + kRound) continue;
            JumpAhead(point + 5 - kRound - now);
            look_until(point);
            EXPECT_EQ(expected, barred) << "day " << day - sunday << ", minute " << now % kDay / 60;
        }
    }
    EXPECT_LT(10, changes);
    EXPECT_EQ(changes, CountLog("set_dev_access_control for: ")) << "nobody is switched twice";
}

TEST_F(Devices, AnImpossibleElementHoldsItsLinkOnly) {
    behaviour_.interval = 20;
    RunFast(20);
    LogInWith({kDesktop, kTablet});
    const std::pair<std::uint16_t, std::string> impossible[] = {
        {kLimits, R"({"LIST":[{"FLAG":"1","MAC":"00:00:5E:00:53:B1","UP":512,"DOWN":"1"}]})"},
        {kWindows, R"({"LIST":[{"FLAG":"2","MAC":"00:00:5E:00:53:B1","DAY":"1","START":"8:00",)"
                   R"("STOP":"9:00","ALLOW":"1"}]})"},
    };
    const auto start = std::chrono::steady_clock::now();
    int sent = 0;
    for (const auto& [id, list] : impossible) {
        SCOPED_TRACE(list);
        ASSERT_TRUE(platform_->SendCommand(mac_, id, AsBytes(list)));
        ASSERT_TRUE(platform_->SendCommand(mac_, kCpuUse, {})) << "waits behind it";
        AwaitLog("Wrong ", ++sent);
        Await(EventKind::kHeartbeat);
        Await(EventKind::kHeartbeat);
        ASSERT_TRUE(platform_->Drop(mac_));
        AwaitReLogin();
        ExpectAnswers();
    }
    EXPECT_EQ(std::string::npos, ReadFile("/tmp/calls").find("set_dev_"));

    // Whatever is held, no processor is kept busy.
    StopAgent();
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    EXPECT_LT(seconds(used.ru_utime) + seconds(used.ru_stime), passed.count() / 8);
}

}  // namespace
}  // namespace plug::e2e
