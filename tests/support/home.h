// A simulated home in the private /tmp: what the SDK answers, and which calls it got.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <sstream>
#include <vector>

#include "core/text.h"
#include "support/private_tmp.h"

namespace plug_test {

inline constexpr char kCallLog[] = "/tmp/calls.log";

inline std::string MacText(const plug::MacAddress& mac) {
    char text[18];
    snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3], mac[4],
             mac[5]);
    return text;
}

/// The MAC 00:00:5E:00:53:<last>.
inline plug::MacAddress HomeMac(int last) {
    return {0, 0, 0x5E, 0, 0x53, static_cast<std::uint8_t>(last)};
}

struct HomeDevice {
    plug::MacAddress mac{};
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

    void Write() const {
        std::ostringstream json;
        json << R"({"devices": [)";
        const char* separator = "";
        for (const HomeDevice& device : devices) {
            json << separator << R"({"mac": ")" << MacText(device.mac) << R"(", "name": ")" << device.name
                 << R"(", "address": ")" << device.address << R"(", "online": )"
                 << (device.online ? "true" : "false") << R"(, "access": )"
                 << (device.access ? "true" : "false") << R"(, "by_name": false, "up_bandwidth": )"
                 << device.up << R"(, "down_bandwidth": )" << device.down << "}";
            separator = ",";
        }
        json << R"(], "black_list": [)" << black_list << R"(], "faults": {)" << faults << R"(}, "counts": {)"
             << counts << R"(}, "call_log": ")" << kCallLog << R"("})";
        WriteFile("/tmp/router.json", json.str());
        setenv("ROUTER_SIM", "/tmp/router.json", 1);
    }
};

/// The calls since the last look whose lines begin with one of `functions` (none given: all), then forgotten.
inline std::vector<std::string> TakeCalls(std::initializer_list<std::string> functions = {}) {
    std::istringstream log(ReadFile(kCallLog));
    std::vector<std::string> calls;
    for (std::string line; std::getline(log, line);) {
        if (functions.size() == 0 ||
            std::any_of(functions.begin(), functions.end(),
                        [&](const std::string& function) { return line.starts_with(function); }))
            calls.push_back(line);
    }
    unlink(kCallLog);
    return calls;
}

}  // namespace plug_test
