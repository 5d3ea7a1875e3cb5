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

// --- the plot ---

constexpr int kPanelWidth = 300;
constexpr int kPanelHeight = 70;
constexpr int kLeft = 70;
constexpr int kTop = 34;
constexpr int kBinMinutes = 10;
constexpr int kBins = kDayMinutes / kBinMinutes;

struct Panel {
    std::string title;
    Minutes day;
};

/// Reports in each ten minutes as a filled curve; its height is three times the mean.
std::string PanelSvg(const Panel& panel, int x, int y, int routers) {
    const double mean = static_cast<double>(routers) / kBins;
    std::string path;
    for (int bin = 0; bin < kBins; ++bin) {
        const auto first = panel.day.begin() + bin * kBinMinutes;
        const int count = std::accumulate(first, first + kBinMinutes, 0);
        const double height = std::min(count / mean / 3, 1.0) * kPanelHeight;
        path += Format("V%.0fh2", kPanelHeight - height);
    }
    return Format("<g transform=\"translate(%d %d)\"><text y=\"-5\">%s</text><path class=\"fill\" d=\"M0 %d",
                  x, y, panel.title.c_str(), kPanelHeight) +
           path +
           Format(
               "V%dz\"/><path class=\"mean\" d=\"M0 %.1fH%d\"/><path class=\"axis\" d=\"M0 %dH%d\"/></g>\n",
               kPanelHeight, kPanelHeight * 2 / 3.0, kPanelWidth - 12, kPanelHeight, kPanelWidth - 12);
}

std::string Plot(const std::vector<Panel>& panels, int routers) {
    const int rows = static_cast<int>(panels.size() + 1) / 2;
    const int width = kLeft + 2 * kPanelWidth;
    const int height = kTop + rows * (kPanelHeight + 36);
    std::string svg = Format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %d %d\" font-family=\"sans-serif\" "
        "font-size=\"11\">\n<style>.fill{fill:#4878a8}.axis{stroke:#444}.mean{stroke:#c33;stroke-dasharray:4 "
        "3}"
        "</style>\n<rect width=\"100%%\" height=\"100%%\" fill=\"#fff\"/>\n",
        width, height);
    for (std::size_t at = 0; at < panels.size(); ++at) {
        const int column = static_cast<int>(at % 2);
        const int row = static_cast<int>(at / 2);
        svg += PanelSvg(panels[at], kLeft / 2 + column * (kPanelWidth + 20), kTop + row * (kPanelHeight + 36),
                        routers);
    }
    return svg +
           Format(
               "<text x=\"%d\" y=\"%d\">0:00 to 24:00 in ten-minute bars; dashed: the mean; a panel is three "
               "means high</text>\n</svg>\n",
               kLeft / 2, height - 8);
}

}  // namespace

int ShowSpread(const SpreadOptions& options, Output& output) {
    const std::pair<const char*, Identities> fleets[] = {{"consecutive", Consecutive(options.routers)},
                                                         {"random", Random(options.routers)}};
    Json rows = Json::array();
    std::vector<Panel> panels;
    const auto add = [&](const char* name, const Identities& identities, int refer_num,
                         const char* jump_time) {
        const Spread spread = SpreadOf(identities, SettingsFor(refer_num, jump_time));
        rows.push_back(Row(name, refer_num, jump_time, spread, options.routers));
        const bool jump = *jump_time != '\0';
        if (jump || refer_num == kReferNums[5] || refer_num == kDayMinutes)
            panels.push_back({std::string(name) + ", referNum " + std::to_string(refer_num) +
                                  (jump ? std::string(", jumpTime ") + jump_time : ""),
                              spread.day});
    };
    for (const int refer_num : kReferNums)
        for (const auto& [name, identities] : fleets) add(name, identities, refer_num, "");
    for (const auto& [name, identities] : fleets) add(name, identities, 86'400, kJumpTime);
    if (!options.svg.empty()) WriteFile(options.svg, Plot(panels, options.routers));
    const Json results = {{"spread", rows}};
    output.Show(results, Lines(results));
    return 0;
}

}  // namespace plug::bench
