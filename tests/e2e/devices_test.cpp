// The devices behind the router: the scan's report, who is reported as new, who is barred when, and lists
// that cannot be carried out.
#include <fstream>
#include <sstream>

#include "bench/router_state.h"
#include "fixture.h"
#include "network.h"

namespace plug::e2e {
namespace {

constexpr std::uint16_t kCpuUse = 47;
constexpr std::uint16_t kScan = 64;
constexpr std::uint16_t kLimits = 66;
constexpr std::uint16_t kWindows = 69;
constexpr std::uint8_t kInterval = 18;
constexpr std::uint8_t kOnlineReport = 40;
constexpr std::uint8_t kScanReport = 63;

constexpr char kDesktop[] = "00:00:5E:00:53:B1";
constexpr char kTablet[] = "00:00:5E:00:53:B2";
constexpr char kPhone[] = "00:00:5E:00:53:B3";

Json DeviceAt(const std::string& mac, const std::string& address, const std::string& name) {
    return {{"online", true}, {"mac", mac},       {"address", address}, {"name", name},
            {"access", true}, {"by_name", false}, {"up_bandwidth", 0},  {"down_bandwidth", 0}};
}

class Devices : public AgentTest {
  protected:
    /// Starts the platform and the agent with these devices in the home.
    void LogInWith(const Json& devices, const Json& more = Json::object()) {
        Json home = {{"router", {{"mac", "00:00:5E:00:53:01"}, {"serial_number", "S1"}}},
                     {"cpu", {{"use_percent", 12}}},
                     {"devices", devices},
                     {"call_log", "/tmp/calls"}};
        home.update(more);
        setup_.router = home.dump();
        Behaviour behaviour;
        behaviour.interval = 20;
        StartPlatform().Behave(behaviour);
        LogIn();
        setup_.router.clear();  // a restart finds the router as it is
    }
    void ExpectScanReport(const std::string& data) {
        const LinkEvent report = Await("a scan's report", IsReport(kScanReport));
        EXPECT_EQ(MsgType::kAddressedReport, report.header.type());
        EXPECT_EQ(kRouterMac, report.address);
        EXPECT_EQ(ToHex(ParseHex(data)), ToHex(report.data));
    }
    /// The MAC of the next device that is reported to be online.
    std::string AwaitOnline() {
        const LinkEvent report = Await("an online report", IsReport(kOnlineReport));
        EXPECT_EQ(kRouterMac, report.address);
        return ToHex(ConstBytes(report.data).subspan(8, 6));
    }
    void SetOnlineInterval(int minutes) {
        platform_->SendPlugData(mac_, kInterval, Json{{"func40Interval", minutes}}.dump());
        EXPECT_EQ(R"({"result":0})", AwaitReply().text());
    }
    /// Lets a device come or go.
    void Switch(const std::string& mac, bool online) const {
        router_.Change(
            [&](Json& home) { (*RouterState::FindDevice(home, ParseMac(mac).value()))["online"] = online; });
    }
    bool HasAccess(const char* mac) const {
        return router_.Device(ParseMac(mac).value()).value().at("access").get<bool>();
    }
    /// The processor time that the agent has used, in clock ticks.
    long Ticks() const {
        std::ifstream file("/proc/" + std::to_string(agent_->pid()) + "/stat");
        std::string word;
        for (int field = 1; field < 14; ++field) file >> word;
        long user = 0;
        long system = 0;
        file >> user >> system;
        return user + system;
    }

    /// From one heartbeat to the next the agent may not keep a processor busy.
    void ExpectRest() {
        Await(EventKind::kHeartbeat);
        const long ticks = Ticks();
        const auto start = std::chrono::steady_clock::now();
        Await(EventKind::kHeartbeat);
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
        EXPECT_LT(static_cast<double>(Ticks() - ticks) / static_cast<double>(sysconf(_SC_CLK_TCK)),
                  passed.count() / 2);
    }

    RouterState router_{"/tmp/router.json"};
};

ByteVector ListParameters(const std::string& list) {
    const ConstBytes bytes = AsBytes(list);
    return {bytes.begin(), bytes.end()};
}

TEST_F(Devices, AScanByteForByte) {
    AddNetwork("home", "192.168.1.1/24", "192.168.1.2/24");
    Shell("ip addr add 10.0.0.1/24 dev home");
    const auto neighbour = [](const char* address, const char* mac) {
        Shell(std::string("ip neigh add ") + address + " lladdr " + mac + " dev home nud permanent");
    };
    neighbour("192.168.1.20", "00:00:5e:00:53:b1");  // the router's library lists it
    neighbour("192.168.1.30", "00:00:5e:00:53:c0");  // known to nobody
    neighbour("192.168.1.25", "00:00:5e:00:53:b3");  // known, and away
    neighbour("192.168.1.40", "00:00:00:00:00:00");
    neighbour("10.0.0.9", "00:00:5e:00:53:c9");  // of another network
    Json away = DeviceAt(kPhone, "192.168.1.25", "a phone with a long name");
    away["online"] = false;
    Json desktop = DeviceAt(kDesktop, "192.168.1.20", "desktop");
    desktop["up_bandwidth"] = 0x01020304;
    desktop["down_bandwidth"] = 0x0A0B0C0D;
    Json tablet = DeviceAt(kTablet, "192.168.1.21", "tablet");
    tablet["access"] = false;
    LogInWith({desktop, tablet, away}, {{"black_list", {kTablet, "00:00:5E:00:53:C0"}}});

    const std::string listed =
        "c0a80114 00005e0053b1 6465736b746f70000000000000000000 0403020100000000 0d0c0b0a00000000 01 01 01"
        "c0a80115 00005e0053b2 7461626c657400000000000000000000 0000000000000000 0000000000000000 01 ";
    const std::string unknown =
        "c0a8011e 00005e0053c0 756e6b6e6f776e2d6465766963650000 0000000000000000 0000000000000000 00 ";
    const std::string phone =
        "c0a80119 00005e0053b3 612070686f6e6520776974682061206c 0000000000000000 0000000000000000 00 01 01";
    const std::string table = ReadFile("/proc/net/arp");  // the order of the kernel
    const bool phone_first = table.find("192.168.1.25") < table.find("192.168.1.30");
    const auto report = [&](const std::string& sequence, const std::string& allowed) {
        const std::string other = unknown + allowed + "01";
        return sequence + "3f0000000400" + listed + allowed + "00" +
               (phone_first ? phone + other : other + phone);
    };
    EXPECT_EQ(0, Ask(kScan).result());
    ExpectScanReport(report("0000", "00"));

    // Outside debug mode the black list does not count, and the reports count from 0 again.
    setup_.arguments = {};
    LogIn();
    EXPECT_EQ(0, Ask(kScan).result());
    ExpectScanReport(report("0000", "01"));
}

TEST_F(Devices, AScanOfNothing) {
    LogInWith(Json::array());
    EXPECT_EQ(0, Ask(kScan).result());
    ExpectScanReport("0000 3f00 0000 0000");
}

TEST_F(Devices, AFailingScanIsTriedUntilItSucceeds) {
    LogInWith(Json::array({DeviceAt(kDesktop, "192.168.1.20", "desktop")}),
              {{"faults", {{"get_devs_cfg", 5}}}});
    EXPECT_EQ(0, Ask(kScan).result());
    AwaitLog("get_devs_cfg Failed.", 2);
    EXPECT_EQ(12, Ask(kCpuUse).Word(6)) << "everything else goes on";
    router_.Change([](Json& home) {
        home["faults"] = Json::object();
        home["counts"] = {{"get_devs_cfg", 129}};
    });
    AwaitLog("DeviceNum too large.");
    router_.Change([](Json& home) { home.erase("counts"); });
    ExpectScanReport(
        "0000 3f00 0000 0100"
        "c0a80114 00005e0053b1 6465736b746f70000000000000000000 0000000000000000 0000000000000000 01 01 01");
}

TEST_F(Devices, NewOnesAreReportedOnce) {
    if (kSanitized) GTEST_SKIP() << kNeedsOwnClock;
    RunFast(60);
    LogInWith({DeviceAt(kDesktop, "192.168.1.20", "desktop"),
               DeviceAt(kTablet, "192.168.1.21", "exactly 15 long")});
    SetOnlineInterval(1);
    const LinkEvent first = Await("an online report", IsReport(kOnlineReport));
    EXPECT_EQ(ToHex(ParseHex("0000 2800 0000 0100 00005e0053b1"
                             "6465736b746f7000000000000000000000000000000000000000000000000000 01")),
              ToHex(first.data));
    EXPECT_EQ("00005e0053b2", AwaitOnline());
    ASSERT_TRUE(WaitForFile("/tmp/macconfig", "00005e0053b1\r\n00005e0053b2\r\n", kPatience));

    // Known across a restart: only the newcomer is reported.
    router_.Change([](Json& home) { home["devices"].push_back(DeviceAt(kPhone, "192.168.1.22", "phone")); });
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
    Switch(kTablet, false);
    const int queries = CountLog("Func39 query...");
    AwaitLog("Sub dev num:", CountLog("Sub dev num:") + 6);  // three minutes of the access control's rounds
    EXPECT_LE(CountLog("Func39 query..."), queries + 1) << "one may have been due";
}

TEST_F(Devices, AWindowBarsFromItsFirstMinuteToItsLast) {
    if (kSanitized) GTEST_SKIP() << kNeedsOwnClock;
    constexpr std::int64_t kDay = 86400;
    // A Wednesday to come, ten o'clock; 1970 began on a Thursday.
    const std::int64_t days = std::time(nullptr) / kDay + 1;
    const std::int64_t opens = (days + (13 - days % 7) % 7) * kDay + 10 * 3600;
    RunFast(60);
    JumpAhead(opens - 90 - std::time(nullptr));
    LogInWith({DeviceAt(kDesktop, "192.168.1.20", "desktop"), DeviceAt(kTablet, "192.168.1.21", "tablet"),
               DeviceAt(kPhone, "192.168.1.22", "phone")});
    const auto rule = [](std::string mac, const char* day) {
        return Json{{"FLAG", "1"},      {"MAC", mac},      {"DAY", day},
                    {"START", "10:00"}, {"STOP", "10:03"}, {"ALLOW", "1"}};
    };
    const Json rules = {{"LIST", {rule(kDesktop, "13"), rule("00:00:5e:00:53:b2", "3"), rule(kPhone, "2")}}};
    EXPECT_EQ(0, Ask(kWindows, ListParameters(rules.dump())).result());
    ASSERT_LT(LoggedAt("ParserProtoolData funcid 69"), opens) << "this machine is too slow for the test";

    ASSERT_TRUE(WaitUntil([&] { return !HasAccess(kDesktop); }, kPatience));
    const std::string change = "set_dev_access_control for: " + std::string(kDesktop);
    const std::int64_t closed = LoggedAt(change + " to 0");
    EXPECT_GE(closed, opens);
    EXPECT_LT(closed, opens + 240);
    ASSERT_TRUE(WaitUntil([&] { return HasAccess(kDesktop); }, kPatience));
    EXPECT_GE(LoggedAt(change + " to 1"), opens + 240) << "the last minute is barred to its end";

    // Both ends, and nothing between or for the others: MACs are matched as they are written, weekdays too.
    std::istringstream calls(ReadFile("/tmp/calls"));
    std::vector<std::string> changes;
    for (std::string line; std::getline(calls, line);)
        if (line.starts_with("set_dev_access_control")) changes.push_back(line);
    ASSERT_EQ(2U, changes.size());
    EXPECT_NE(std::string::npos, changes[0].find(R"("by_name":false,"access":false)")) << changes[0];
    EXPECT_NE(std::string::npos, changes[1].find(R"("access":true)")) << changes[1];
}

TEST_F(Devices, AnImpossibleElementHoldsItsLinkOnly) {
    RunFast(20);
    LogInWith(Json::array({DeviceAt(kDesktop, "192.168.1.20", "desktop")}));
    const std::pair<std::uint16_t, std::string> impossible[] = {
        {kLimits, R"({"LIST":[{"FLAG":"1","MAC":"00:00:5E:00:53:B1","UP":512,"DOWN":"1"}]})"},
        {kLimits, R"({"LIST":[{"FLAG":"1","MAC":"","UP":"512","DOWN":"1"}]})"},
        {kWindows, R"({"LIST":[{"FLAG":"2","MAC":"00:00:5E:00:53:B1","DAY":"1","START":"8:00",)"
                   R"("STOP":"9:00","ALLOW":"1"}]})"},
    };
    int sent = 0;
    for (const auto& [id, list] : impossible) {
        SCOPED_TRACE(list);
        ASSERT_TRUE(platform_->SendCommand(mac_, id, ListParameters(list)));
        ASSERT_TRUE(platform_->SendCommand(mac_, kCpuUse, {})) << "waits behind it";
        AwaitLog("Wrong ", ++sent);
        if (!kSanitized) ExpectRest();
        ASSERT_TRUE(platform_->Drop(mac_));
        AwaitReLogin();
        EXPECT_EQ(12, Ask(kCpuUse).Word(6));
    }
    EXPECT_EQ(std::string::npos, ReadFile("/tmp/calls").find("set_dev_"));
}

}  // namespace
}  // namespace plug::e2e
