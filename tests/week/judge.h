// Holds who is barred at the router against who must be, at every look.
#pragma once

#include <chrono>

#include "bench/layout.h"
#include "week/windows_model.h"

namespace plug::week {

using bench::Json;

/// A moment: the agent's clock, its time of day, and the true time.
struct Moment {
    double elapsed = 0;
    std::int64_t day = 0;
    std::chrono::steady_clock::time_point true_time;
};

class Judge {
  public:
    // The orders as they are given. Give one before it is sent: the agent may be quick.
    void Add(const Order& order) { model_.Add(order); }
    void Remove(const Order& order, const Moment& now);

    /// The agent was started anew and has no orders: nothing at the router may change.
    void Forget();
    /// It has those given here.
    void SetKnown() { known_ = true; }
    /// The calendar was set: the minutes since the last look were not lived through.
    void CalendarChanged() { last_minute_ = 0; }

    /// What the router says of its devices now. A device may differ for one pass of the agent, 30 seconds.
    void Look(const Json& devices, const Moment& now);

    /// Does some device differ, which may still be right?
    bool Waits() const { return waits_; }
    /// Seconds until some device must be switched; a day when that is more than a minute ahead.
    int SecondsToSwitch(std::int64_t day) const;

    int switches() const { return switches_; }
    int looks() const { return looks_; }
    int barred() const;
    /// What was wrong, a line each.
    const std::vector<std::string>& faults() const { return faults_; }

  private:
    struct Device {
        bool online = false;
        bool barred = false;  // at the router
        bool due = false;     // must be
        Moment said[2]{};     // when `due` was false, and true, last
        std::optional<Moment> differs{};
    };

    void LiveThrough(std::int64_t minute);
    void Compare(const std::string& mac, Device& device, bool barred, const Moment& now);
    void Blame(const std::string& mac, const Moment& now, const std::string& what);

    WindowsModel model_;
    std::map<std::string, Device> devices_;
    std::int64_t last_minute_ = 0;
    bool known_ = false;
    bool waits_ = false;
    int switches_ = 0;
    int looks_ = 0;
    std::vector<std::string> faults_;
};

/// As in "Fri 2027-03-26 02:59:07", in the zone of the environment.
std::string DayText(std::int64_t day);

}  // namespace plug::week
