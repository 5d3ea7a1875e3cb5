#include "bench/spread.h"

#include <numeric>
#include <random>
#include <stdexcept>

#include "bench/process.h"
#include "bench/text.h"
#include "bench/text_table.h"
#include "commserver/report_times.h"

namespace plug::bench {
namespace {

constexpr int kMacValues = 1 << 24;
constexpr int kFirstMac = 0x005301;  // of routers made one after the other
constexpr int kDayMinutes = 1440;
constexpr int kCycleMinutes = 60;
constexpr int kBinMinutes = 10;
constexpr std::int64_t kMidnight = 1'700'006'400;  // any day: only the distance from it counts
constexpr int kReferNums[] = {5, 1440, 10'000, 86'400, 1'000'000, 20'000'000};
constexpr char kJumpTime[] = "18:00-23:00";

using Identities = std::vector<int>;
using Minutes = std::vector<int>;  // reports in each minute

Identities Consecutive(int count) {
    Identities identities;
    for (int at = 0; at < count; ++at) identities.push_back((kFirstMac + at) % kMacValues);
    return identities;
}

Identities Random(int count) {
    std::mt19937 generator(1);
    std::uniform_int_distribution<int> values(0, kMacValues - 1);
    Identities identities;
    for (int at = 0; at < count; ++at) identities.push_back(values(generator));
    return identities;
}

struct Spread {
    Minutes day = Minutes(kDayMinutes);
    Minutes cycle = Minutes(kCycleMinutes);
};

Spread SpreadOf(const Identities& identities, const ReportSettings& settings) {
    Spread spread;
    for (const int identity : identities) {
        ReportTimes times;
        if (ComputeReportTimes(kMidnight, kMidnight, identity, settings, times) != 0)
            throw std::runtime_error("no report times");
        const auto minute = [](double time, int minutes) {
            return static_cast<std::size_t>((time - static_cast<double>(kMidnight)) / 60) %
                   static_cast<std::size_t>(minutes);
        };
        ++spread.day[minute(times.day, kDayMinutes)];
        ++spread.cycle[minute(times.cycle_start, kCycleMinutes)];
    }
    return spread;
}

/// The fullest minute, and how many times the mean over all minutes it is.
Json Peak(const Minutes& minutes, int routers) {
    const int highest = *std::max_element(minutes.begin(), minutes.end());
    const double mean = static_cast<double>(routers) / static_cast<double>(minutes.size());
    return {{"highest", highest}, {"ratio", Format("%.2f", highest / mean)}};
}

ReportSettings SettingsFor(int refer_num, std::string_view jump_time = {}) {
    ReportSettings settings;
    settings.interval2 = kDayMinutes;
    settings.interval3 = kCycleMinutes;
    settings.refer_num = refer_num;
    jump_time.copy(settings.jump_time.data(), settings.jump_time.size() - 1);
    return settings;
}

Json Row(const char* routers, int refer_num, const char* jump_time, const Spread& spread, int count) {
    const Json day = Peak(spread.day, count);
    const Json cycle = Peak(spread.cycle, count);
    return {{"routers", routers},          {"referNum", refer_num},
            {"jumpTime", jump_time},       {"day: highest minute", day["highest"]},
            {"x mean", day["ratio"]},      {"cycle: highest minute", cycle["highest"]},
            {"x its mean", cycle["ratio"]}};
}

/// The reports of each ten minutes of the day, a column for each fleet and setting.
class Columns {
  public:
    void Add(const std::string& name, const Minutes& day) {
        head_ += "," + name;
        days_.push_back(day);
    }
    std::string Text() const {
        std::string text = head_ + "\n";
        for (int minute = 0; minute < kDayMinutes; minute += kBinMinutes) {
            text += std::to_string(minute);
            for (const Minutes& day : days_) {
                const auto first = day.begin() + minute;
                text += "," + std::to_string(std::accumulate(first, first + kBinMinutes, 0));
            }
            text += "\n";
        }
        return text;
    }

  private:
    std::string head_ = "minute";
    std::vector<Minutes> days_;
};

}  // namespace

int ShowSpread(const SpreadOptions& options, Output& output) {
    const std::pair<const char*, Identities> fleets[] = {{"consecutive", Consecutive(options.routers)},
                                                         {"random", Random(options.routers)}};
    Json rows = Json::array();
    Columns columns;
    const auto add = [&](const char* name, const Identities& identities, int refer_num,
                         const char* jump_time) {
        const Spread spread = SpreadOf(identities, SettingsFor(refer_num, jump_time));
        rows.push_back(Row(name, refer_num, jump_time, spread, options.routers));
        const std::string jump = *jump_time != '\0' ? std::string(" jumpTime ") + jump_time : "";
        columns.Add(std::string(name) + " referNum " + std::to_string(refer_num) + jump, spread.day);
    };
    for (const int refer_num : kReferNums)
        for (const auto& [name, identities] : fleets) add(name, identities, refer_num, "");
    for (const auto& [name, identities] : fleets) add(name, identities, 86'400, kJumpTime);
    if (!options.csv.empty()) WriteFile(options.csv, columns.Text());
    const Json results = {{"spread", rows}};
    output.Show(results, Lines(results));
    return 0;
}

}  // namespace plug::bench
