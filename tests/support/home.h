// The simulated home of a sandbox: what the SDK answers, and which calls it got.
#pragma once

#include "support/text.h"

namespace plug::test {

inline constexpr char kHomePath[] = "/tmp/router.json";
inline constexpr char kSdkCallsPath[] = "/tmp/sdk_calls";

/// The MAC 00:00:5E:00:53:<last>; the router's own is that of 1.
constexpr MacAddress HomeMac(int last) {
    return {0, 0, 0x5E, 0, 0x53, static_cast<std::uint8_t>(last)};
}

struct HomeDevice {
    MacAddress mac{};
    std::string name{};
    std::string address = "192.168.1.20";
    bool access = true;
    bool online = true;
    unsigned up = 0;
    unsigned down = 0;
};

struct Home {
    std::vector<HomeDevice> devices{};
    std::string black_list{};  // quoted MACs
    std::string faults{};      // "get_devs_cfg": 5
    std::string counts{};
    std::string delays{};  // "get_devs_cfg": milliseconds

    /// Makes it the home that the SDK sees, at once.
    void Write() const;
};

/// The calls since the last look whose lines contain `part`, then forgotten.
Lines TakeSdkCalls(std::string_view part = "");

}  // namespace plug::test
