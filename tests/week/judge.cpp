#include "week/judge.h"

#include <algorithm>

namespace plug::week {
namespace {

// A pass comes every thirty seconds of the agent's clock; the machine may be late with it.
constexpr double kPassSeconds = 35;
constexpr std::chrono::milliseconds kLate{1300};
// A switch that was decided on just before the minute turned may be seen behind it.
constexpr double kUnderWaySeconds = 45;

constexpr int kFarAway = 86'400;

std::tm LocalTime(std::int64_t day) {
    const auto when = static_cast<time_t>(day);
    std::tm local{};
    localtime_r(&when, &local);
    return local;
}

bool Longer(const Moment& since, const Moment& now, double seconds) {
    return now.elapsed - since.elapsed > seconds && now.true_time - since.true_time > kLate;
}

}  // namespace

std::string DayText(std::int64_t day) {
    const std::tm local = LocalTime(day);
    char text[32];
    return {text, strftime(text, sizeof text, "%a %F %T", &local)};
}

void Judge::Remove(const Order& order, const Moment& now) {
    if (!model_.Remove(order)) return;
    std::string mac = order.mac;  // an order in lower case bars nobody, and lets in all the same
    std::ranges::transform(mac, mac.begin(), ::toupper);
    const auto found = devices_.find(mac);
    if (found == devices_.end()) return;
    found->second.due = false;
    found->second.said[false] = now;
}

void Judge::Forget() {
    known_ = false;
    model_ = {};
    CalendarChanged();
    for (auto& [mac, device] : devices_) device.due = device.barred;
}

/// Every minute counts: the last one of a day decides about a next day without windows.
void Judge::LiveThrough(std::int64_t minute) {
    if (last_minute_ == 0 || minute < last_minute_) last_minute_ = minute;
    for (; last_minute_ <= minute; ++last_minute_) {
        const std::tm local = LocalTime(last_minute_ * 60);
        for (auto& [mac, device] : devices_)
            if (device.online) device.due = model_.Barred(mac, local).value_or(device.due);
    }
    last_minute_ = minute;
}

void Judge::Look(const Json& devices, const Moment& now) {
    ++looks_;
    if (known_) LiveThrough(now.day / 60);
    waits_ = false;
    for (const Json& entry : devices) {
        const bool barred = !entry.at("access").get<bool>();
        const std::string mac = entry.at("mac");
        Device& device = devices_[mac];
        const bool online = entry.at("online");
        if (!online || !device.online) device = {online, barred, barred, {now, now}, {}};
        if (!online) continue;
        device.said[device.due] = now;
        Compare(mac, device, barred, now);
    }
}

void Judge::Compare(const std::string& mac, Device& device, bool barred, const Moment& now) {
    if (barred != device.barred) {
        ++switches_;
        device.barred = barred;
        if (Longer(device.said[barred], now, kUnderWaySeconds))
            Blame(mac, now, barred ? "was barred without need" : "was let in though it is barred");
    }
    if (barred == device.due) {
        device.differs.reset();
        return;
    }
    if (!device.differs) device.differs = now;
    waits_ = true;
    if (!Longer(*device.differs, now, kPassSeconds)) return;
    Blame(mac, now, barred ? "is still barred" : "is not barred yet");
    device.due = barred;  // said once
}

void Judge::Blame(const std::string& mac, const Moment& now, const std::string& what) {
    faults_.push_back(DayText(now.day) + ": " + mac + " " + what);
}

int Judge::SecondsToSwitch(std::int64_t day) const {
    const std::tm next = LocalTime((day / 60 + 1) * 60);
    for (const auto& [mac, device] : devices_)
        if (known_ && device.online && model_.Barred(mac, next).value_or(device.due) != device.due)
            return static_cast<int>(60 - day % 60);
    return kFarAway;
}

int Judge::barred() const {
    int count = 0;
    for (const auto& [mac, device] : devices_) count += device.barred;
    return count;
}

}  // namespace plug::week
