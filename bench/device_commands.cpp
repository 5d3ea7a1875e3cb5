#include "bench/device_commands.h"

#include "bench/text.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

constexpr char kWindowUsage[] = "add|remove <mac> <days> <start> <stop> | remove <mac> | list";

std::string ListOf(const Json& element) {
    return Json{{"LIST", Json::array({element})}}.dump();
}

std::tm LocalTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return local;
}

/// "8:30" as it is; "now" and "+5", minutes from now but not beyond the day, as the clock shows them.
std::string ClockTime(const std::string& text) {
    if (text != "now" && !text.starts_with('+')) return text;
    const std::tm local = LocalTime();
    const int later = text == "now" ? 0 : static_cast<int>(ParseSeconds(text.substr(1)).count() / 1000);
    const int minutes = std::min(local.tm_hour * 60 + local.tm_min + later, 24 * 60 - 1);
    return Format("%02d:%02d", minutes / 60, minutes % 60);
}

/// Weekdays as digits, Monday 1; or "today".
std::string Days(const std::string& text) {
    if (text != "today") return text;
    const int day = LocalTime().tm_wday;
    return std::to_string(day == 0 ? 7 : day);
}

/// Minutes since midnight; none when it is no time of a day.
std::optional<int> Minutes(const std::string& time) {
    int hour = 0;
    int minute = 0;
    int end = 0;
    const bool read = sscanf(time.c_str(), "%2d:%2d%n", &hour, &minute, &end) == 2;
    if (!read || time[static_cast<std::size_t>(end)] != '\0') return {};
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59) return {};
    return hour * 60 + minute;
}

/// Why such a window never bars anybody, not on all its days, or for longer; empty when it does as it says.
std::string Doubt(const std::string& days, const std::string& start, const std::string& stop) {
    const auto from = Minutes(start);
    const auto to = Minutes(stop);
    if (!from || !to) return "start and stop should be times of a day, as 8:30";
    if (*to < *from) return "it stops before it starts, so it never bars; windows do not go past midnight";
    if (days.empty() || days.find_first_not_of("1234567") != std::string::npos)
        return "days should be digits from 1 (Monday) to 7; others are passed over";
    if (days.find('7') != std::string::npos) return "the agent looks up no window on Sundays (day 7)";
    if (days.find('6') != std::string::npos && *to == 23 * 60 + 59)
        return "what is barred when Saturday ends stays so on Sunday, where the agent looks up no window";
    return "";
}

}  // namespace

DeviceCommands::DeviceCommands(Dialog& dialog) : dialog_(dialog) {
    static constexpr TopicCommand<void (DeviceCommands::*)(const Invocation&)> kCommands[] = {
        {"scan", "", "scans the attached devices and shows the report", 0, &DeviceCommands::Scan},
        {"limit", "<mac> <up> <down> | clear <mac>", "limits a device, or frees it", 2,
         &DeviceCommands::SetLimit, "clear <mac>"},
        {"window", kWindowUsage,
         "bars a device at certain times; days: 1 (Monday) to 7 or today; times: 8:30, now, +5 (minutes from "
         "now); the windows that were set here are listed, and removed by the MAC alone",
         1, &DeviceCommands::SetWindow, "add remove list today now <mac>"},
    };
    dialog_.interpreter().AddTopic("home", *this, kCommands);
}

void DeviceCommands::Scan(const Invocation&) {
    Cursor cursor = dialog_.platform().FromNow();
    dialog_.Carry(Dialog::Make("scan-start"));
    dialog_.Await(cursor, "the report of the scan", IsReport(63), std::chrono::seconds(30));
}

void DeviceCommands::SetLimit(const Invocation& words) {
    const bool clear = words.word(1) == "clear";
    if (words.size() != (clear ? 3 : 4)) throw CommandError("usage: limit <mac> <up> <down> | clear <mac>");
    const Json limit = {{"FLAG", clear ? "0" : "1"},
                        {"MAC", MacText(MacOf(words.word(clear ? 2 : 1)))},
                        {"UP", clear ? "0" : words.word(2)},
                        {"DOWN", clear ? "0" : words.word(3)}};
    dialog_.Carry(Dialog::Make("limits-set", {"text=" + ListOf(limit)}));
}

void DeviceCommands::SetWindow(const Invocation& words) {
    const std::string& action = words.word(1);
    if (action == "list") {
        const Json shown = {{"windows", windows_}};
        return dialog_.interpreter().Show(shown, windows_.empty() ? "    none" : Lines(shown));
    }
    if (words.size() == 6 && (action == "add" || action == "remove")) {
        SendWindow(action == "add", {{"mac", MacText(MacOf(words.word(2)))},
                                     {"days", Days(words.word(3))},
                                     {"start", ClockTime(words.word(4))},
                                     {"stop", ClockTime(words.word(5))}});
        return;
    }
    if (words.size() != 3 || action != "remove")
        throw CommandError(std::string("usage: window ") + kWindowUsage);
    const Json all = windows_;
    for (const Json& window : all)
        if (window["mac"] == MacText(MacOf(words.word(2)))) SendWindow(false, window);
}

void DeviceCommands::SendWindow(bool add, const Json& window) {
    const Json rule = {{"FLAG", add ? "1" : "0"},  {"MAC", window["mac"]},   {"DAY", window["days"]},
                       {"START", window["start"]}, {"STOP", window["stop"]}, {"ALLOW", "0"}};
    dialog_.Carry(Dialog::Make("windows-set", {"text=" + ListOf(rule)}));
    const std::string doubt = Doubt(window["days"], window["start"], window["stop"]);
    if (add && !doubt.empty())
        dialog_.interpreter().output().Show({{"warning", doubt}}, "    warning: " + doubt);
    const auto same = std::find(windows_.begin(), windows_.end(), window);
    if (add && same == windows_.end()) windows_.push_back(window);
    if (!add && same != windows_.end()) windows_.erase(same);
}

}  // namespace plug::bench
