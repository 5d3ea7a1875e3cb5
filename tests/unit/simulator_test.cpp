// The simulated router's state file: what becomes of it. What the SDK's functions make of it is shown by the
// function commands.
#include <router_sdk.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <thread>

#include "support/text.h"

namespace plug::test {
namespace {

constexpr int kBadState = 101;
constexpr int kNotSaved = 102;

constexpr std::uint8_t kDesktop[6] = {0x00, 0x00, 0x5E, 0x00, 0x53, 0xB1};
constexpr std::uint8_t kTablet[6] = {0x00, 0x00, 0x5E, 0x00, 0x53, 0xB6};

class Simulator : public testing::Test {
  protected:
    Simulator() { setenv("ROUTER_SIM", file_.c_str(), 1); }

    const bench::TemporaryFolder folder_;
    const std::string file_ = folder_.path() + "/router.json";
};

TEST_F(Simulator, SetsAreWrittenBack) {
    ssid_cfg ssid;
    ASSERT_EQ(0, get_ssid_cfg(&ssid, 2));
    std::strcpy(ssid.ssid, "caf\xC3\xA9 \"quoted\" \\ and a tab\t");
    ssid.enabled = 0;
    ssid.channel = 0xFEDC;
    ssid.bssid[5] = 0xFE;
    ssid.rate = 0xFFFFFFFF;
    ASSERT_EQ(0, set_ssid_cfg(&ssid));
    // A copy is read afresh.
    const std::string copy = folder_.path() + "/copy.json";
    std::filesystem::copy_file(file_, copy);
    setenv("ROUTER_SIM", copy.c_str(), 1);
    ssid_cfg stored;
    ASSERT_EQ(0, get_ssid_cfg(&stored, 2));
    EXPECT_EQ(0, std::memcmp(&ssid, &stored, sizeof ssid));
}

TEST_F(Simulator, NothingIsSetWithoutTheWritersLock) {
    std::uint8_t before = 0;
    get_led_switch(&before);
    std::filesystem::create_directory(file_ + ".lock");
    const std::string said = LogOf([&] { EXPECT_EQ(kNotSaved, set_led_switch(!before)); });
    EXPECT_TRUE(Contains(said, "cannot be locked: Is a directory")) << said;
    std::uint8_t after = 0;
    get_led_switch(&after);
    EXPECT_EQ(before, after);
}

TEST_F(Simulator, AFileThatCannotBeUsedFailsTheCallAndSaysSoOnce) {
    for (const std::string& file : {std::string(), std::string("{} trailing"), std::string(5000, '['),
                                    std::string(2 << 20, ' '), std::string(R"({"switches": 12})")}) {
        SCOPED_TRACE(file.substr(0, 80));
        WriteFile(file_, file);
        const std::string said = LogOf([] {
            EXPECT_EQ(kBadState, set_led_switch(1));
            EXPECT_EQ(kBadState, set_led_switch(1));
        });
        EXPECT_EQ(said.size() - 1, said.find('\n')) << said;
        EXPECT_EQ(file, ReadFile(file_)) << "a person's file is left alone";
    }
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
