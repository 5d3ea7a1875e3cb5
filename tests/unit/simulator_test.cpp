// The simulated router's state file: what becomes of it, and what the SDK's functions make of it. What each
// of them answers and logs is shown by the function commands.
#include <router_sdk.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <thread>

#include "support/text.h"

namespace plug::test {
namespace {

constexpr int kBadState = 101;

constexpr std::uint8_t kDesktop[6] = {0x00, 0x00, 0x5E, 0x00, 0x53, 0xB1};
constexpr std::uint8_t kTablet[6] = {0x00, 0x00, 0x5E, 0x00, 0x53, 0xB6};

class Simulator : public testing::Test {
  protected:
    Simulator() { Use("router.json"); }

    void Use(const std::string& name) {
        file_ = folder_.path() + "/" + name;
        setenv("ROUTER_SIM", file_.c_str(), 1);
    }
    void Write(const std::string& json) const { WriteFile(file_, json); }

    const bench::TemporaryFolder folder_;
    std::string file_;
};

TEST_F(Simulator, AMissingFileBecomesAHome) {
    std::array<dev_cfg, 128> devices;
    int count = 0;
    ASSERT_EQ(0, get_devs_cfg(devices.data(), &count));
    ASSERT_EQ(5, count) << "the sixth is offline";
    EXPECT_STREQ("desktop", devices[0].name);
    EXPECT_EQ(0xC0A80114U, std::uint32_t{devices[0].address});
    ssid_cfg ssid;
    EXPECT_EQ(0, get_ssid_cfg(&ssid, 5)) << "two radios of three and two SSIDs";
    EXPECT_NE(0, get_ssid_cfg(&ssid, 6));
}

TEST_F(Simulator, SetsAreWrittenBack) {
    ssid_cfg ssid;
    ASSERT_EQ(0, get_ssid_cfg(&ssid, 2));
    std::strcpy(ssid.ssid, "caf\xC3\xA9 \"quoted\" \\ and a tab\t");
    ssid.enabled = 0;
    ssid.channel = 0xFEDC;
    ssid.bssid[5] = 0xFE;
    ssid.rate = 0xFFFFFFFF;
    ASSERT_EQ(0, set_ssid_cfg(&ssid));
    dev_cfg device;
    ASSERT_EQ(0, get_dev_cfg(&device, kDesktop));
    device.access = 0;
    device.by_name = 1;
    device.address = 1;  // only access and by_name are taken
    ASSERT_EQ(0, set_dev_access_control(&device));
    ASSERT_EQ(0, set_dev_ds_max_bw(kDesktop, ~0ULL));

    // A copy is read afresh.
    const std::string before = file_;
    Use("copy.json");
    std::filesystem::copy_file(before, file_);
    ssid_cfg stored;
    ASSERT_EQ(0, get_ssid_cfg(&stored, 2));
    EXPECT_EQ(0, std::memcmp(&ssid, &stored, sizeof ssid));
    ASSERT_EQ(0, get_dev_cfg(&device, kDesktop));
    EXPECT_EQ(std::tuple(0, 1, 0xC0A80114U),
              std::tuple(device.access, device.by_name, std::uint32_t{device.address}));
    std::uint64_t down = 0;
    EXPECT_EQ(0, get_dev_ds_max_bw(kDesktop, &down));
    EXPECT_EQ(~0ULL, down);
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
}

TEST_F(Simulator, AFileThatCannotBeUsedFailsTheCallAndSaysSoOnce) {
    const std::string kMacOf = R"({"lan": {"address": "192.168.1.1", "mac": )";
    for (const std::string& file :
         {std::string(), std::string("{} trailing"), std::string(5000, '['), std::string(2 << 20, ' '),
          kMacOf + "12}}", kMacOf + R"("00:00:5E:00:53"}})"}) {
        SCOPED_TRACE(file.substr(0, 80));
        Write(file);
        CaptureLog();
        lan_cfg lan;
        EXPECT_EQ(kBadState, get_lan_cfg(&lan));
        EXPECT_EQ(kBadState, get_lan_cfg(&lan));
        const std::string said = CapturedLog();
        EXPECT_EQ(said.size() - 1, said.find('\n')) << said;
        EXPECT_EQ(file, ReadFile(file_)) << "a person's file is left alone";
    }
    CaptureLog();
    Write(R"({"switches": 12, "memory": {"use_percent": 65536}})");
    EXPECT_EQ(kBadState, set_led_switch(1));
    std::uint16_t percent = 9;
    EXPECT_EQ(kBadState, get_mem_use(&percent));
    EXPECT_EQ(9, percent);
    CapturedLog();
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
