// What passes between a platform and its fleet, counted: connections and logins, commands and their answers.
// The platform's thread brings the events, another one the commands.
#pragma once

#include <map>
#include <mutex>
#include <vector>

#include "bench/event_log.h"

namespace plug::bench {

/// Of everything since the beginning.
struct TrafficCounts {
    int connections = 0;
    int registrations = 0;
    int logins = 0;
    int closed = 0;  // login connections
    int reports = 0;
    int asked = 0;
    int answered = 0;
    int cut = 0;   // their connection ended before the answer
    int lost = 0;  // no answer came in time
    int bad_frames = 0;
};

class FleetTraffic {
  public:
    void OnEvent(const LinkEvent& event);

    /// A command is about to be sent.
    void Ask(const MacAddress& agent, std::uint16_t head);
    /// It was not.
    void Forget(const MacAddress& agent, std::uint16_t head);
    /// Gives commands up that are older than the agents' longest wait.
    void CountLost();
    bool AllSettled() const;

    TrafficCounts counts() const;
    /// In milliseconds, the share of round trips that were as short; 0 without any.
    double RoundTrip(double share) const;

  private:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Key = std::pair<MacAddress, std::uint16_t>;

    mutable std::mutex mutex_;
    TrafficCounts counts_;
    std::map<Key, TimePoint> pending_;
    std::vector<float> round_trips_;
};

}  // namespace plug::bench
