// Which devices must be barred, told from the platform's orders and a calendar alone. It shares no code with
// the agent, and knows it only as its documents do.
#pragma once

#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace plug::week {

/// From when to when a device is barred on some weekdays, in minutes of the day, both included.
struct Order {
    std::string mac;
    std::string days;  // digits, Monday is 1
    int from = 0;
    int to = 0;
};

class WindowsModel {
  public:
    void Add(const Order& order);
    /// True when a day is left without a window: the device is then let in at once.
    bool Remove(const Order& order);

    /// Is the device barred at that local time? None when that day says nothing: it stays as it is.
    std::optional<bool> Barred(const std::string& mac, const std::tm& now) const;

  private:
    using Day = std::pair<std::string, int>;
    std::map<Day, std::vector<std::pair<int, int>>> windows_;
};

}  // namespace plug::week
