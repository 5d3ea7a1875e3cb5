#include "commserver/report_times.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "core/log.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "CommServer.c";

constexpr int kDaySeconds = 86400;
constexpr int kDailyMinutes = 1440;
constexpr int kShortestJump = 3600;
constexpr std::int64_t kCycleLateness = 29;  // seconds by which a cycle's start may lie in the past

/// Takes the next token off `text`; dashes part tokens, however many.
std::string_view TakeToken(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of('-'), text.size()));
    const std::string_view token = text.substr(0, text.find('-'));
    text.remove_prefix(token.size());
    return token;
}

bool ValidTime(std::string_view token) {
    if (token.size() != 4 && token.size() != 5) {
        PLUG_LOG(kErr, "Time data length error!!!");
        return false;
    }
    if (token.find(':') == std::string_view::npos) {
        PLUG_LOG(kErr, "Time data error!!!");
        return false;
    }
    return true;
}

/// Lenient by intent: characters are not checked to be digits, and one that is missing counts as a NUL.
int SecondsOf(std::string_view token) {
    const auto digit = [token](std::size_t at) { return (at < token.size() ? token[at] : '\0') - '0'; };
    if (token[1] == ':') return digit(0) * 3600 + (digit(2) * 10 + digit(3)) * 60;
    return (digit(0) * 10 + digit(1)) * 3600 + (digit(3) * 10 + digit(4)) * 60;
}

/// The window of the day in which reports are made: from the end of the jump period to its start.
struct ReportWindow {
    int begin = 0;
    int length = kDaySeconds;
};

int WindowOutside(std::string_view jump_time, ReportWindow& window) {
    int start = 0;
    int end = 0;
    if (jumpTimeToSec(end, start, jump_time) != 0) return -1;
    window.begin = end;
    window.length = start > end ? start - end : start + kDaySeconds - end;
    return window.length > 0 ? 0 : -1;
}

int DayTime(std::int64_t midnight, int mac_value, const ReportSettings& settings, double& day) {
    const double step = static_cast<double>(kDaySeconds) / settings.refer_num;
    const double offset = step * (mac_value % settings.refer_num);
    if (settings.jump_time[0] == '\0') {
        day = static_cast<double>(midnight + settings.server_diff) + offset;
        return 0;
    }
    ReportWindow window;
    if (WindowOutside(settings.jump_time.data(), window) != 0) {
        PLUG_LOG(kErr, "jump time is error!");
        return -1;
    }
    const double whole = std::floor(offset);
    const std::int64_t folded = static_cast<std::int64_t>(whole) % window.length;
    day = static_cast<double>(midnight + folded + window.begin + settings.server_diff) + (offset - whole);
    return 0;
}

/// The start of the cycle reports, moved on by whole cycles when it has passed.
double CycleStart(std::int64_t now, std::int64_t midnight, int mac_value, const ReportSettings& settings) {
    const std::int64_t minutes = settings.interval3;
    const double step = static_cast<double>(minutes) * 60.0 / settings.refer_num;
    const double start =
        static_cast<double>(midnight + settings.server_diff) + step * (mac_value % settings.refer_num);
    const std::int64_t late = now - static_cast<std::int64_t>(std::floor(start));
    if (late <= kCycleLateness) return start;
    const std::int64_t cycles = 1 + (late + 30) / (minutes * 60);
    return start + static_cast<double>(cycles * minutes * 60);
}

}  // namespace

int jumpTimeToSec(int& end, int& start, std::string_view text) {
    const LogAuthor author(__func__);
    const std::string_view first = TakeToken(text);
    if (first.empty()) {
        PLUG_LOG(kErr, "jump time error!!!");
        return -1;
    }
    if (!ValidTime(first)) return -1;
    const std::string_view second = TakeToken(text);
    if (second.empty()) {
        PLUG_LOG(kErr, "jump time error!");
        return -1;
    }
    if (!ValidTime(second)) return -1;
    const int from = SecondsOf(first);
    const int to = SecondsOf(second);
    if (std::abs(from - to) < kShortestJump) {
        PLUG_LOG(kErr, "jump time is little than 3600!");
        return -1;
    }
    start = from;
    end = to;
    return 0;
}

int ComputeReportTimes(std::int64_t now, std::int64_t midnight, int mac_value, const ReportSettings& settings,
                       ReportTimes& times) {
    times = {};
    if (settings.interval2 == kDailyMinutes && DayTime(midnight, mac_value, settings, times.day) != 0)
        return -1;
    if (settings.interval3 > 0) times.cycle_start = CycleStart(now, midnight, mac_value, settings);
    return 0;
}

}  // namespace plug
