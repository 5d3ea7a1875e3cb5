// The simulated router, through the SDK's own functions and its state file.
#include <router_sdk.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/text.h"

namespace plug::test {
namespace {

constexpr int kBadState = 101;
constexpr int kNotSaved = 102;
constexpr int kUnknown = 103;
constexpr int kBadArgument = 104;

constexpr std::uint8_t kDesktop[6] = {0x00, 0x00, 0x5E, 0x00, 0x53, 0xB1};
constexpr std::uint8_t kTablet[6] = {0x00, 0x00, 0x5E, 0x00, 0x53, 0xB6};
constexpr std::uint8_t kStranger[6] = {1, 2, 3, 4, 5, 6};

class Simulator : public testing::Test {
  protected:
    Simulator() { Use("router.json"); }

    std::string Path(const std::string& name) const { return folder_.path() + "/" + name; }

    void Use(const std::string& name) {
        file_ = Path(name);
        setenv("ROUTER_SIM", file_.c_str(), 1);
    }

    void Write(const std::string& json) const { WriteFile(file_, json); }

    const bench::TemporaryFolder folder_;
    std::string file_;
};

// `count` copies of an item as a JSON array.
std::string ArrayOf(std::size_t count, const std::string& item) {
    std::string array = "[";
    for (std::size_t i = 0; i < count; ++i) array += (i == 0 ? "" : ",") + item;
    return array + "]";
}

// A buffer with a known filling, to see what a call wrote.
template <class T, std::size_t kSize>
struct Filled {
    Filled() { std::memset(items.data(), 0xEE, sizeof items); }
    bool UntouchedFrom(std::size_t index) const {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(items.data());
        return std::all_of(bytes + index * sizeof(T), bytes + sizeof items,
                           [](std::uint8_t b) { return b == 0xEE; });
    }
    std::array<T, kSize> items;
};

TEST_F(Simulator, AMissingFileBecomesAHome) {
    Filled<dev_cfg, 128> devices;
    int count = 0;
    ASSERT_EQ(0, get_devs_cfg(devices.items.data(), &count));
    ASSERT_EQ(5, count) << "the sixth is offline";
    EXPECT_TRUE(devices.UntouchedFrom(5));
    const dev_cfg desktop = devices.items[0];
    EXPECT_EQ(0, std::memcmp(kDesktop, desktop.mac, 6));
    EXPECT_STREQ("desktop", desktop.name);
    EXPECT_EQ(0xC0A80114U, std::uint32_t{desktop.address});
    EXPECT_EQ(1, desktop.access);

    // A name may be longer than its place in the record.
    char name[32];
    dev_cfg tablet;
    EXPECT_EQ(0, get_dev_name(kTablet, name));
    EXPECT_STREQ("tablet of the youngest", name);
    EXPECT_EQ(0, get_dev_cfg(&tablet, kTablet));
    EXPECT_STREQ("tablet of the y", tablet.name);

    router_version version;
    ASSERT_EQ(0, get_router_version(&version));
    EXPECT_STREQ("2.4.18", version.version);
    EXPECT_EQ(0, std::memcmp(version.date, "\x14\x16\x0c\x1b", 4));
    EXPECT_EQ(2, get_wan_num());
    EXPECT_EQ(4, get_lan_num());
    EXPECT_EQ(866, get_dev_speed((const std::uint8_t[6]){0, 0, 0x5E, 0, 0x53, 0xB3}, 2));

    // Two radios of three and two SSIDs, one after another.
    Filled<std::uint8_t, 2000> wlans;
    ASSERT_EQ(0, get_wlans_cfg(wlans.items.data(), &count));
    EXPECT_EQ(2, count);
    EXPECT_EQ(3, wlans.items[0] + 256 * wlans.items[1]);
    EXPECT_EQ(2, wlans.items[362] + 256 * wlans.items[363]);
    ssid_cfg ssid, last;
    std::memcpy(&last, &wlans.items[364 + 120], sizeof last);
    ASSERT_EQ(0, get_ssid_cfg(&ssid, 5));
    EXPECT_EQ(0, std::memcmp(&ssid, &last, sizeof ssid));
    EXPECT_TRUE(wlans.UntouchedFrom(364 + 240));
}

TEST_F(Simulator, SetsAreWrittenBack) {
    ssid_cfg ssid;
    ASSERT_EQ(0, get_ssid_cfg(&ssid, 2));
    std::strcpy(ssid.ssid, "caf\xC3\xA9 \"quoted\" \\ and a tab\t");
    ssid.enabled = 0;
    ssid.band = 200;
    ssid.channel = 0xFEDC;
    ssid.hidden = 7;
    ssid.security = 201;
    ssid.bssid[5] = 0xFE;
    ssid.max_stations = 0xFEDB;
    std::strncpy(ssid.password, "another", sizeof ssid.password);
    ssid.width = 0xFEDA;
    ssid.rate = 0xFFFFFFFF;
    ASSERT_EQ(0, set_ssid_cfg(&ssid));
    dev_cfg device;
    ASSERT_EQ(0, get_dev_cfg(&device, kDesktop));
    device.access = 0;
    device.by_name = 1;
    device.address = 1;  // only access and by_name are taken
    ASSERT_EQ(0, set_dev_access_control(&device));
    ASSERT_EQ(0, set_dev_us_max_bw(kDesktop, 0x0102030405060708));
    ASSERT_EQ(0, set_dev_ds_max_bw(kDesktop, ~0ULL));
    ASSERT_EQ(0, set_dns(0x01020304, 0xFFFEFDFC));
    ASSERT_EQ(0, set_telnet_password("fifteen letters"));
    ASSERT_EQ(0, set_name(""));
    ASSERT_EQ(0, set_led_switch(0));
    ASSERT_EQ(0, set_ssid_switch(5, 1));
    ASSERT_EQ(0, restart());
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(folder_.path()), {}) - 1)
        << "only a lock beside it";

    // A copy is read afresh.
    std::filesystem::copy_file(file_, Path("copy.json"));
    Use("copy.json");
    ssid_cfg stored;
    ASSERT_EQ(0, get_ssid_cfg(&stored, 2));
    EXPECT_EQ(0, std::memcmp(&ssid, &stored, sizeof ssid));
    dev_cfg changed;
    ASSERT_EQ(0, get_dev_cfg(&changed, kDesktop));
    EXPECT_EQ(0, changed.access);
    EXPECT_EQ(1, changed.by_name);
    EXPECT_EQ(0xC0A80114U, std::uint32_t{changed.address});
    std::uint64_t up = 0, down = 0;
    EXPECT_EQ(0, get_dev_us_max_bw(kDesktop, &up));
    EXPECT_EQ(0, get_dev_ds_max_bw(kDesktop, &down));
    EXPECT_EQ(0x0102030405060708U, up);
    EXPECT_EQ(~0ULL, down);
    std::uint32_t first = 0, second = 0;
    EXPECT_EQ(0, get_dns(&first, &second));
    EXPECT_EQ(0x01020304U, first);
    EXPECT_EQ(0xFFFEFDFCU, second);
    char text[16], name[32];
    EXPECT_EQ(0, get_telnet_password(text));
    EXPECT_STREQ("fifteen letters", text);
    EXPECT_EQ(0, get_name(name));
    EXPECT_STREQ("", name);
    std::uint8_t led = 9, on = 9;
    EXPECT_EQ(0, get_led_switch(&led));
    EXPECT_EQ(0, get_ssid_switch(5, &on));
    EXPECT_EQ(0, led);
    EXPECT_EQ(1, on);
}

TEST_F(Simulator, EverySwitchAndAccountIsItsOwn) {
    using GetFlag = int (*)(std::uint8_t*);
    using SetFlag = int (*)(std::uint8_t);
    constexpr std::pair<SetFlag, GetFlag> kSwitches[] = {{set_wifi_radio_switch, get_wifi_radio_switch},
                                                         {set_led_switch, get_led_switch},
                                                         {set_wps_switch, get_wps_switch},
                                                         {set_ftp_switch, get_ftp_switch},
                                                         {set_sambaenable_switch, get_sambaenable_switch},
                                                         {set_telnetenable_switch, get_telnetenable_switch}};
    using GetText = int (*)(char*);
    using SetText = int (*)(const char*);
    constexpr std::pair<SetText, GetText> kTexts[] = {
        {set_ftp_user, get_ftp_user},       {set_ftp_password, get_ftp_password},
        {set_samba_user, get_samba_user},   {set_samba_password, get_samba_password},
        {set_telnet_user, get_telnet_user}, {set_telnet_password, get_telnet_password}};
    for (std::uint8_t i = 0; i < 6; ++i) {
        ASSERT_EQ(0, kSwitches[i].first(static_cast<std::uint8_t>(i + 10)));
        ASSERT_EQ(0, kTexts[i].first(std::to_string(i).c_str()));
    }
    for (std::uint8_t i = 0; i < 6; ++i) {
        std::uint8_t on = 0;
        char text[16];
        EXPECT_EQ(0, kSwitches[i].second(&on));
        EXPECT_EQ(i + 10, on);
        EXPECT_EQ(0, kTexts[i].second(text));
        EXPECT_EQ(std::to_string(i), text);
    }
}

TEST_F(Simulator, AnEditIsSeenAtTheNextCall) {
    // In place, of the same size, faster than files' times tick or with a clock that stands.
    const auto ahead = std::filesystem::file_time_type::clock::now() + std::chrono::hours(1);
    for (std::uint16_t i = 0; i < 100; ++i) {
        const auto percent = static_cast<std::uint16_t>(10 + i % 90);
        Write(R"({"cpu": {"use_percent": )" + std::to_string(percent) + "}}");
        if (i >= 50) std::filesystem::last_write_time(file_, ahead);
        std::uint16_t seen = 0;
        ASSERT_EQ(0, get_cpu_use(&seen));
        ASSERT_EQ(percent, seen);
    }
    std::filesystem::remove(file_);
    EXPECT_EQ(2, get_wan_num()) << "a new home";
}

TEST_F(Simulator, CountersGrowWithUpTime) {
    const std::time_t started = std::time(nullptr) - 1000;
    Write(
        R"({"router": {"started": )" + std::to_string(started) +
        R"(}, "wans": [{"index": 1, "received": {"bytes": 7, "rate": 10}}], "lan_ports": [{"down": {"bytes": 5}}]})");
    std::uint64_t seconds = 0, bytes = 0, down = 0, up = 9;
    const std::time_t before = std::time(nullptr);
    ASSERT_EQ(0, get_duration_time(&seconds));
    ASSERT_EQ(0, get_wan_receive_bytes(1, &bytes));
    const std::time_t after = std::time(nullptr);
    EXPECT_GE(seconds, static_cast<std::uint64_t>(before - started));
    EXPECT_LE(seconds, static_cast<std::uint64_t>(after - started));
    EXPECT_GE(bytes, static_cast<std::uint64_t>(7 + 10 * (before - started)));
    EXPECT_LE(bytes, static_cast<std::uint64_t>(7 + 10 * (after - started)));
    ASSERT_EQ(0, get_lan_port_down_flow(1, &down));
    ASSERT_EQ(0, get_lan_port_up_flow(1, &up));
    EXPECT_EQ(5U, down);
    EXPECT_EQ(0U, up);

    ASSERT_EQ(0, restart());
    ASSERT_EQ(0, get_duration_time(&seconds));
    EXPECT_LT(seconds, 1000U);
}

TEST_F(Simulator, FaultsDelaysAndTheCallLog) {
    Write(R"({"router": {"name": "Home"}, "devices": [{"mac": "00:00:5e:00:53:b1"}],
              "radios": [{"ssids": [{"index": 1}]}], "call_log": ")" +
          Path("calls.log") + R"(",
              "faults": {"get_devs_cfg": 5, "set_name": 65541, "get_wan_num": 3}, "delays": {"get_cpu_use": 30}})");
    Filled<dev_cfg, 128> devices;
    int count = 77;
    EXPECT_EQ(5, get_devs_cfg(devices.items.data(), &count));
    EXPECT_EQ(77, count);
    EXPECT_TRUE(devices.UntouchedFrom(0));
    EXPECT_EQ(65541, set_name("new"));
    char name[32];
    EXPECT_EQ(0, get_name(name));
    EXPECT_STREQ("Home", name);
    EXPECT_EQ(3, get_wan_num());

    std::uint16_t percent = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, get_cpu_use(&percent));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));

    EXPECT_EQ(0, set_dev_name(kDesktop, "a \"b\"\n"));
    EXPECT_EQ(0, set_dev_us_max_bw(kDesktop, ~0ULL));
    EXPECT_EQ(0, set_dns(0xC0000235, 0));
    EXPECT_EQ(0, get_dev_speed(kStranger, -1));
    dev_cfg device{};
    std::memcpy(device.mac, kDesktop, 6);
    std::strcpy(device.name, "pc");
    device.access = 1;
    device.address = 0xC0A80114;
    EXPECT_EQ(0, set_dev_access_control(&device));
    EXPECT_EQ(R"(get_devs_cfg() = 5
set_name("new") = 65541
get_name() = 0
get_wan_num() = 3
get_cpu_use() = 0
set_dev_name(00:00:5E:00:53:B1, "a \"b\"\n") = 0
set_dev_us_max_bw(00:00:5E:00:53:B1, 18446744073709551615) = 0
set_dns(192.0.2.53, 0.0.0.0) = 0
get_dev_speed(01:02:03:04:05:06, -1) = 0
set_dev_access_control({"mac":"00:00:5E:00:53:B1","name":"pc","link":0,"band":0,"by_name":false,"access":true,)"
              R"("rssi":0,"address":"192.168.1.20"}) = 0
)",
              ReadFile(Path("calls.log")));
}

TEST_F(Simulator, ListsReportMoreThanTheyWrite) {
    Write(R"({"wans": )" + ArrayOf(5, R"({"mtu": 1})") + R"(, "neighbours": )" +
          ArrayOf(31, R"({"channel": 1})") + R"(, "devices": )" + ArrayOf(130, R"({"rssi": 1})") +
          R"(, "black_list": )" + ArrayOf(101, R"("01:02:03:04:05:06")") + R"(, "radios": [{"ssids": )" +
          ArrayOf(17, "{}") + R"(}, {"ssids": [{}]}], "counts": {"get_wan_num": 300, "get_router_mac": 1}})");
    int count = 0;
    Filled<wan_cfg, 5> wans;
    EXPECT_EQ(0, get_wans_cfg(wans.items.data(), &count));
    EXPECT_EQ(5, count);
    EXPECT_TRUE(wans.UntouchedFrom(4));
    EXPECT_EQ(1, std::uint16_t{wans.items[3].mtu});
    Filled<adj_wifi, 31> neighbours;
    EXPECT_EQ(0, get_adj_wifi_devs(neighbours.items.data(), &count));
    EXPECT_EQ(31, count);
    EXPECT_TRUE(neighbours.UntouchedFrom(30));
    EXPECT_EQ(1U, std::uint32_t{neighbours.items[29].channel});
    Filled<dev_cfg, 130> devices;
    EXPECT_EQ(0, get_devs_cfg(devices.items.data(), &count));
    EXPECT_EQ(130, count);
    EXPECT_TRUE(devices.UntouchedFrom(128));
    EXPECT_EQ(1, std::uint16_t{devices.items[127].rssi});
    Filled<std::uint8_t[6], 101> black_list;
    EXPECT_EQ(0, get_dev_black_list(black_list.items.data(), &count));
    EXPECT_EQ(101, count);
    EXPECT_TRUE(black_list.UntouchedFrom(100));
    EXPECT_EQ(6, black_list.items[99][5]);
    Filled<std::uint8_t, 2100> wlans;
    EXPECT_EQ(0, get_wlans_cfg(wlans.items.data(), &count));
    EXPECT_EQ(2, count);
    EXPECT_EQ(17, wlans.items[0]);
    EXPECT_TRUE(wlans.UntouchedFrom(2 + 16 * 120)) << "half an SSID, or the next radio's";
    EXPECT_EQ(300, get_wan_num());

    // A count out of thin air.
    Write(R"({"devices": [{"rssi": 1}], "counts": {"get_devs_cfg": 129}})");
    Filled<dev_cfg, 128> one;
    EXPECT_EQ(0, get_devs_cfg(one.items.data(), &count));
    EXPECT_EQ(129, count);
    EXPECT_TRUE(one.UntouchedFrom(1));
}

TEST_F(Simulator, AFileThatCannotBeUsedFailsTheCallAndSaysSoOnce) {
    const std::string kMacOf = R"({"lan": {"address": "192.168.1.1", "mac": )";
    const std::string files[] = {"",
                                 "{",
                                 "[1, 2]",
                                 "{} trailing",
                                 std::string(5000, '['),
                                 std::string(2 << 20, ' '),
                                 kMacOf + "12}}",
                                 kMacOf + R"("00:00:5E:00:53"}})",
                                 kMacOf + R"("00:00:5E:00:53:0G"}})",
                                 R"({"lan": {"address": "192.168.1.256"}})",
                                 R"({"lan": {"address": {}}})"};
    for (const std::string& file : files) {
        SCOPED_TRACE(file.substr(0, 80));
        Write(file);
        CaptureLog();
        Filled<lan_cfg, 1> lan;
        EXPECT_EQ(kBadState, get_lan_cfg(lan.items.data()));
        EXPECT_EQ(kBadState, get_lan_cfg(lan.items.data()));
        EXPECT_TRUE(lan.UntouchedFrom(0));
        EXPECT_EQ(0, get_wan_num());
        const std::string said = CapturedLog();
        EXPECT_EQ(1, std::count(said.begin(), said.end(), '\n')) << said;
        EXPECT_EQ(file, ReadFile(file_)) << "a person's file is left alone";
    }
    Write(R"({"lan": {"address": "192.168.1.1"}})");
    lan_cfg lan;
    EXPECT_EQ(0, get_lan_cfg(&lan));

    // Sets, too, leave alone what they cannot understand.
    Write("{");
    CaptureLog();
    EXPECT_EQ(kBadState, set_led_switch(1));
    EXPECT_EQ("{", ReadFile(file_));
    Write(R"({"switches": 12, "memory": {"use_percent": 65536}, "cpu": {"use_percent": -1}})");
    EXPECT_EQ(kBadState, set_led_switch(1));
    std::uint16_t percent = 9;
    EXPECT_EQ(kBadState, get_mem_use(&percent));
    EXPECT_EQ(kBadState, get_cpu_use(&percent));
    EXPECT_EQ(9, percent);
    Use("no/such/folder.json");
    EXPECT_EQ(kBadState, get_mem_use(&percent));
    CapturedLog();
}

TEST_F(Simulator, AChangeThatCannotBeSavedDidNotHappen) {
    ASSERT_EQ(0, set_name("before"));
    std::filesystem::last_write_time(file_, std::filesystem::last_write_time(file_) - std::chrono::hours(1));
    EXPECT_EQ(2, get_wan_num()) << "read once, and old enough to be kept";
    const std::string draft = file_ + "." + std::to_string(getpid()) + ".tmp";
    std::filesystem::create_directory(draft);
    CaptureLog();
    EXPECT_EQ(kNotSaved, set_name("after"));
    CapturedLog();
    char name[32];
    EXPECT_EQ(0, get_name(name));
    EXPECT_STREQ("before", name);
}

TEST_F(Simulator, WhatIsNotThereOrDoesNotFitIsRefused) {
    std::uint64_t number = 9;
    std::uint8_t byte = 9;
    char name[32] = "as it was";
    dev_cfg device{};
    ssid_cfg ssid{};
    wan_cfg wan{};
    std::memcpy(device.mac, kStranger, 6);
    ssid.index = 6;
    EXPECT_EQ(kUnknown, get_dev_us_bw(kStranger, &number));
    EXPECT_EQ(kUnknown, set_dev_us_max_bw(kStranger, 1));
    EXPECT_EQ(kUnknown, get_dev_name(kStranger, name));
    EXPECT_EQ(kUnknown, get_dev_cfg(&device, kStranger));
    EXPECT_EQ(kUnknown, set_dev_access_control(&device));
    EXPECT_EQ(kUnknown, set_ssid_cfg(&ssid));
    EXPECT_EQ(kUnknown, get_wan_cfg(&wan, 0));
    for (const std::uint16_t outside : std::initializer_list<std::uint16_t>{0, 5, 65535}) {
        EXPECT_EQ(kUnknown, get_lan_port_up_flow(outside, &number));
        EXPECT_EQ(kUnknown, get_lan_con_status(outside, &byte));
        EXPECT_EQ(kUnknown, get_wifi_module_status(outside, &byte));
    }
    EXPECT_EQ(kBadArgument, set_ftp_user("sixteen letters!"));
    EXPECT_EQ(kBadArgument, set_dev_name(kDesktop, std::string(32, 'x').c_str()));
    EXPECT_EQ(9U, number);
    EXPECT_EQ(9, byte);
    EXPECT_STREQ("as it was", name);

    char pin[12];
    Write(R"({"router": {"pin": "1234567890123"}})");
    ASSERT_EQ(0, get_router_pin(pin));
    EXPECT_EQ("123456789012", std::string(pin, sizeof pin)) << "a PIN may fill its field";
}

// Sets a limit again and again; false when another's write took it away.
bool KeepsItsLimits(const std::uint8_t* mac, bool up) {
    for (std::uint64_t limit = 1; limit <= 40; ++limit) {
        std::uint64_t stored = 0;
        if ((up ? set_dev_us_max_bw : set_dev_ds_max_bw)(mac, limit) != 0) return false;
        if ((up ? get_dev_us_max_bw : get_dev_ds_max_bw)(mac, &stored) != 0 || stored != limit) return false;
    }
    return true;
}

bool TwoThreadsKeepTheirLimits(const std::uint8_t* mac) {
    bool first = false;
    std::thread other([&] { first = KeepsItsLimits(mac, true); });
    const bool second = KeepsItsLimits(mac, false);
    other.join();
    return first && second;
}

TEST_F(Simulator, ThreadsAndProcessesLoseNoWrites) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(TwoThreadsKeepTheirLimits(kTablet) ? 0 : 1);
    EXPECT_TRUE(TwoThreadsKeepTheirLimits(kDesktop));
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
}

}  // namespace
}  // namespace plug::test
