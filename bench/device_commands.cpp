// PlatformSide: what a platform does about the devices behind a router: scans, limits, access windows.
#include "bench/platform_side.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

const std::string kWindowUsage = "add|remove <mac> <days> <start> <stop> | remove <mac> | list";

std::string MacForm(const std::string& text) {
    const auto mac = ParseMac(text);
    if (!mac) throw CommandError("no MAC: " + text);
    return MacText(*mac);
}

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
    std::array<char, 24> clock;
    snprintf(clock.data(), clock.size(), "%02d:%02d", minutes / 60, minutes % 60);
    return clock.data();
}

/// Weekdays as digits, Monday 1; or "today".
std::string Days(const std::string& text) {
    if (text != "today") return text;
    const int day = LocalTime().tm_wday;
    return std::to_string(day == 0 ? 7 : day);
}

}  // namespace

PlatformSide::Request PlatformSide::MakeRequest(const std::string& name,
                                                const std::vector<std::string>& values) {
    const CommandForm& row = *FindCommand(name);
    return {row, EncodeParameters(row, values)};
}

void PlatformSide::Carry(const Request& request) {
    Exchange({request});
    const Json& answer = interpreter_.last;
    if (answer.contains("error"))
        throw CommandError(std::string(request.row.name) + ": " + answer.value("error", ""));
}

LinkEvent PlatformSide::AskSilently(const Request& request) {
    Cursor cursor = platform_.FromNow();
    const std::uint16_t head = platform_.NextHead();
    Require(platform_.SendCommand(CurrentAgent(), request.row.id, request.parameters, {}, head));
    return Await(request, cursor, head);
}

LinkEvent PlatformSide::AwaitFollowing(Cursor& cursor, const std::string& what, const EventMatch& matches,
                                       Milliseconds timeout) {
    const MacAddress agent = CurrentAgent();
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (const auto event = platform_.log().At(cursor.place(), deadline)) {
        cursor.Next(Milliseconds(0));
        ShowNews();
        if (event->mac != agent || !matches(*event)) continue;
        interpreter_.last = DecodeEvent(*event);
        return *event;
    }
    throw CommandError("waited " + std::to_string(timeout.count() / 1000) + " s for " + what + " in vain");
}

void PlatformSide::AddDeviceCommands() {
    const std::string group = "devices and diagnostics";
    interpreter_.Add({"scan", "", "scans the attached devices and shows the report", group, 0,
                      [this](const Invocation&) { Scan(); }});
    interpreter_.Add({"limit",
                      "<mac> <up> <down> | clear <mac>",
                      "limits a device, or frees it",
                      group,
                      2,
                      [this](const Invocation& words) { SetLimit(words); },
                      {"clear"}});
    interpreter_.Add({"window",
                      kWindowUsage,
                      "bars a device at certain times; days: 1 (Monday) to 7 or today; times: 8:30, now, +5 "
                      "(minutes from now); the windows that were set here are listed, and removed by the MAC "
                      "alone",
                      group,
                      1,
                      [this](const Invocation& words) { SetWindow(words); },
                      {"add", "remove", "list", "today", "now"}});
}

void PlatformSide::Scan() {
    Cursor cursor = platform_.FromNow();
    Carry(MakeRequest("scan-start"));
    AwaitFollowing(cursor, "the report of the scan", IsReport(63), std::chrono::seconds(30));
}

void PlatformSide::SetLimit(const Invocation& words) {
    const bool clear = words.word(1) == "clear";
    if (words.size() != (clear ? 3 : 4)) throw CommandError("usage: limit <mac> <up> <down> | clear <mac>");
    const Json limit = {{"FLAG", clear ? "0" : "1"},
                        {"MAC", MacForm(words.word(clear ? 2 : 1))},
                        {"UP", clear ? "0" : words.word(2)},
                        {"DOWN", clear ? "0" : words.word(3)}};
    Carry(MakeRequest("limits-set", {"text=" + ListOf(limit)}));
}

void PlatformSide::SetWindow(const Invocation& words) {
    const std::string& action = words.word(1);
    if (action == "list") {
        interpreter_.last = {{"windows", windows_}};
        output_.Show(interpreter_.last, windows_.empty() ? "    none" : Lines(interpreter_.last));
        return;
    }
    if (words.size() == 6 && (action == "add" || action == "remove")) {
        SendWindow(action == "add", {{"mac", MacForm(words.word(2))},
                                     {"days", Days(words.word(3))},
                                     {"start", ClockTime(words.word(4))},
                                     {"stop", ClockTime(words.word(5))}});
        return;
    }
    if (words.size() != 3 || action != "remove") throw CommandError("usage: window " + kWindowUsage);
    const Json all = windows_;
    for (const Json& window : all)
        if (window["mac"] == MacForm(words.word(2))) SendWindow(false, window);
}

void PlatformSide::SendWindow(bool add, const Json& window) {
    const Json rule = {{"FLAG", add ? "1" : "0"},  {"MAC", window["mac"]},   {"DAY", window["days"]},
                       {"START", window["start"]}, {"STOP", window["stop"]}, {"ALLOW", "0"}};
    Carry(MakeRequest("windows-set", {"text=" + ListOf(rule)}));
    const auto same = std::find(windows_.begin(), windows_.end(), window);
    if (add && same == windows_.end()) windows_.push_back(window);
    if (!add && same != windows_.end()) windows_.erase(same);
}

}  // namespace plug::bench
