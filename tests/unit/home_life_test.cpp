// The simulated home's life: the same for the same seed, and always a home that the router's library reads.
#include "bench/home_life.h"

#include <router_sdk.h>

#include <set>

#include "bench/router_state.h"
#include "support/text.h"

namespace plug::test {
namespace {

using bench::HomeLife;
using bench::Json;

class HomeLifeTest : public testing::Test {
  protected:
    HomeLifeTest() {
        setenv("ROUTER_SIM", (folder_.path() + "/router.json").c_str(), 1);
        std::uint8_t on = 0;
        EXPECT_EQ(0, get_led_switch(&on));  // which writes the default home
        router_.emplace(bench::RouterState::OfEnvironment());
    }

    const bench::TemporaryFolder folder_;
    std::optional<bench::RouterState> router_;
};

struct Lived {
    Json home;
    Json events = Json::array();
};
Lived Live(const Json& home, std::uint32_t seed) {
    Lived lived{home};
    HomeLife life(seed);
    for (int step = 0; step < 400; ++step)
        for (const Json& event : life.Step(lived.home, 0.5)) lived.events.push_back(event);
    return lived;
}

TEST_F(HomeLifeTest, IsTheSameForTheSameSeed) {
    const Json home = router_->Read();
    const Lived one = Live(home, 7);
    const Lived other = Live(home, 7);
    EXPECT_EQ(one.events, other.events);
    EXPECT_EQ(one.home, other.home);
    EXPECT_NE(one.events, Live(home, 8).events);
    std::set<std::string> kinds;
    for (const Json& event : one.events)
        kinds.insert(event.value("home", "") +
                     (event.value("name", "").starts_with("guest") ? " guest" : ""));
    EXPECT_EQ((std::set<std::string>{"comes", "comes guest", "goes", "goes guest"}), kinds);
}

TEST_F(HomeLifeTest, IsThatOfAHomeWhoseCountersOnlyGrow) {
    HomeLife life(3);
    std::uint64_t received = 0;
    std::uint64_t down = 0;
    std::set<std::uint16_t> loads;
    for (int step = 0; step < 200; ++step) {
        router_->Change([&](Json& home) { life.Step(home, 1); });
        dev_cfg devices[128];
        int count = 0;
        ASSERT_EQ(0, get_devs_cfg(devices, &count));
        std::set<std::string> macs;
        for (int at = 0; at < count; ++at) {
            const dev_cfg& device = devices[at];
            macs.insert(ToHex(device.mac));
            std::uint64_t rate = 0;
            ASSERT_EQ(0, get_dev_ds_bw(device.mac, &rate));
            EXPECT_LT(rate, 100'000'000U);
            EXPECT_LE(device.rssi, 88);
        }
        EXPECT_EQ(static_cast<std::size_t>(count), macs.size());
        EXPECT_LE(count, 6 + 4);
        std::uint64_t now = 0;
        ASSERT_EQ(0, get_wan_receive_bytes(1, &now));
        EXPECT_GE(now, received);
        received = now;
        ASSERT_EQ(0, get_lan_port_down_flow(1, &now));
        EXPECT_GE(now, down);
        down = now;
        std::uint16_t load = 0;
        ASSERT_EQ(0, get_cpu_use(&load));
        loads.insert(load);
    }
    EXPECT_GT(loads.size(), 5U);
}

TEST_F(HomeLifeTest, LeavesAloneWhatOthersChange) {
    HomeLife life(5);
    router_->Change([&](Json& home) {
        home["devices"][0]["name"] = "renamed";
        home["devices"][0]["access"] = false;
        home["wans"][0]["received"]["bytes"] = "18014398509481984";  // no number of JSON's
        home["devices"].erase(5);
    });
    for (int step = 0; step < 50; ++step) router_->Change([&](Json& home) { life.Step(home, 1); });
    const Json home = router_->Read();
    EXPECT_EQ("renamed", home["devices"][0]["name"]);
    EXPECT_EQ(false, home["devices"][0]["access"]);
    EXPECT_EQ(0, home["devices"][0]["down_bandwidth"]) << "it is barred";
    EXPECT_TRUE(home["wans"][0]["received"]["bytes"].is_string());
}

}  // namespace
}  // namespace plug::test
