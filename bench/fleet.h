// Many real agents at once, each with an identity, a simulated router, a /tmp and, on the bench's own
// platform, a network of its own. As a load for a platform, and to see what an agent costs among many and
// what they do together when something happens to all of them.
#pragma once

#include <ostream>

#include "bench/fleet_agent.h"
#include "bench/fleet_traffic.h"
#include "bench/output.h"
#include "bench/platform.h"

namespace plug::bench {

struct FleetOptions {
    int agents = 10;
    int first = 0;  // the number of the first one's identity
    double start_interval_ms = 20;
    int rest_seconds = 60;
    int seconds = 60;
    double rate = 10;    // commands a second, of the whole fleet
    double share = 100;  // per cent of the agents that are loaded
    double reports = 0;  // automatic reports a second
    double churn = 0;    // devices that come or go a second
    double lose = 0;     // links lost a minute
    std::string server;  // another platform than the bench's own, with its port
    std::uint16_t port = 6039;
    std::string csv;          // a file for what happened in each second
    std::string storm;        // restart, power or names, instead of rest and load
    int away = 60;            // seconds that the platform or the name server is away
    int spread = -1;          // of the supervisor's starts
    bool identities = false;  // only prints who they are
};

/// Runs a fleet and prints what was seen. 0, or 1 when an agent did not log in, did not stay, or left a
/// command without an answer, or 130 when the user interrupted it. Nothing of it is left afterwards. Enters a
/// sandbox.
int RunFleet(const FleetOptions& options, const PlatformOptions& platform, Output& output);

/// The agents and their platform. Its thread starts the agents, which end with it.
class Fleet {
  public:
    /// `timeline`, when not null, gets a row for each second of the timeline.
    Fleet(const FleetOptions& options, const PlatformOptions& platform, std::ostream* timeline);
    ~Fleet();
    Fleet(const Fleet&) = delete;
    Fleet& operator=(const Fleet&) = delete;

    std::vector<std::unique_ptr<FleetAgent>>& agents() { return agents_; }
    FleetTraffic& traffic() { return traffic_; }
    /// Null when the agents are at another one.
    Platform* platform() { return platform_.get(); }

    /// Starts all, with the interval between two starts.
    void Start();
    /// Waits until so many are logged in as there are; false after `seconds`.
    bool AwaitAll(int seconds);
    /// So many are logged in, as they say themselves and as their platform knows, if it is the bench's own.
    int LoggedIn() const;

    /// Something that is done again and again.
    struct Beat {
        double per_second = 0;
        std::function<void()> act;
        std::chrono::steady_clock::time_point next{};
    };
    /// Does these things for so long, or until `done` holds behind one. Tells of the progress each second on
    /// a terminal, each minute elsewhere. Throws Interrupted.
    void RunFor(double seconds, std::vector<Beat> beats, const std::function<bool()>& done = {});

    /// From now on seconds are counted, and noted.
    void BeginTimeline();
    /// Since its beginning.
    double Elapsed() const;
    /// The most connections in one second of it, and the most attempts at one.
    int most_connections() const { return most_connections_; }
    int most_attempts() const { return most_attempts_; }

  private:
    void TellProgress(bool last);
    void NoteSecond();
    int Attempts() const;

    const FleetOptions options_;
    std::ostream* const timeline_;
    TemporaryFolder folder_;
    FleetTraffic traffic_;
    std::vector<std::unique_ptr<FleetAgent>> agents_;
    std::unique_ptr<Platform> platform_;
    std::chrono::steady_clock::time_point begin_{};
    std::chrono::steady_clock::time_point told_ = std::chrono::steady_clock::now();  // of the progress
    TrafficCounts noted_;
    int noted_attempts_ = 0;
    int most_connections_ = 0;
    int most_attempts_ = 0;
};

/// Rest and load, and what they were like.
int LoadFleet(Fleet& fleet, const FleetOptions& options, Output& output);
/// What happens to all at once, and how they come back.
int StormFleet(Fleet& fleet, const FleetOptions& options, Output& output);

/// The hosts of a fleet's sandbox.
inline constexpr char kFleetHosts[] = "127.0.0.1 localhost plug1.example.com plug2.example.com\n";

}  // namespace plug::bench
