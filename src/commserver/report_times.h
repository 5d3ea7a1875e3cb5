// When the local peer makes its reports: computed from the settings, spread over the day by the router's
// MAC.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace plug {

/// The automatic report settings; as constructed they are those of a router without a configuration.
struct ReportSettings {
    int interval1 = -1;
    int interval2 = -1;                // minutes; 1440 asks for a daily report
    int interval3 = -1;                // minutes of the cycle report
    int refer_num = -1;                // slots into which the day or the cycle is split
    int server_diff = 0;               // platform time minus router time, seconds
    std::array<char, 16> jump_time{};  // hours without a daily report, H:MM-H:MM; empty: none
};

/// Reads "H:MM-H:MM", one or two digits an hour, as seconds of the day. 0; -1, with the outputs as they were,
/// when it is malformed or the times are less than an hour apart.
int jumpTimeToSec(int& end, int& start, std::string_view text);

/// Platform-side times in seconds since 1970, with fractions; 0 when the report is off.
struct ReportTimes {
    double day = 0;
    double cycle_start = 0;
};

/// The times for a router whose last three MAC bytes make `mac_value`. `now` and `midnight`, the start of its
/// local day, are wall clock seconds; refer_num must be positive. 0, or -1 when the jump time is no good.
int ComputeReportTimes(std::int64_t now, std::int64_t midnight, int mac_value, const ReportSettings& settings,
                       ReportTimes& times);

}  // namespace plug
