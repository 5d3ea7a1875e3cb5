#include "week/windows_model.h"

#include <algorithm>

namespace plug::week {

void WindowsModel::Add(const Order& order) {
    for (const char digit : order.days) {
        auto& windows = windows_[{order.mac, digit - '0'}];
        const std::pair window(order.from, order.to);
        if (std::ranges::find(windows, window) == windows.end()) windows.push_back(window);
    }
}

bool WindowsModel::Remove(const Order& order) {
    bool emptied = false;
    for (const char digit : order.days) {
        const auto day = windows_.find({order.mac, digit - '0'});
        if (day == windows_.end()) continue;
        std::erase(day->second, std::pair(order.from, order.to));
        if (!day->second.empty()) continue;
        windows_.erase(day);
        emptied = true;
    }
    return emptied;
}

std::optional<bool> WindowsModel::Barred(const std::string& mac, const std::tm& now) const {
    const auto day = windows_.find({mac, now.tm_wday});  // Sunday is 0, which no order names
    if (day == windows_.end()) return {};
    const int minute = now.tm_hour * 60 + now.tm_min;
    return std::ranges::any_of(day->second, [minute](const auto& window) {
        return window.first <= minute && minute <= window.second;
    });
}

}  // namespace plug::week
