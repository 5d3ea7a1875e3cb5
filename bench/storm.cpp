#include "bench/storm.h"

#include <fstream>
#include <random>

#include "bench/text.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

// The agent's pauses, in seconds.
constexpr double kUntilLost = 3.02;  // a closed connection is read 300 times, ten milliseconds apart
constexpr double kAfterLoss = 20;
constexpr double kTeardown = 1;  // of a connection, whether it was one or not
constexpr double kAfterServer1 = 5;
constexpr int kServer1Tries = 3;
constexpr int kRounds = 12;
constexpr double kStart = 0.08;
constexpr double kRegistrationLife = 20 * 3600;
constexpr double kWeek = 7 * 24 * 3600;
// The C library's, of a name server that does not answer.
constexpr double kQueryTimeout = 5;
constexpr int kQueries = 2;
// The supervisor's.
constexpr int kLongestDelay = 60;
constexpr double kEarly = 30;

/// What happens in one second.
struct Second {
    int attempts = 0;
    int connections = 0;
    int registrations = 0;
    int logins = 0;
    int queries = 0;
};

class Storm {
  public:
    explicit Storm(const StormOptions& options) : options_(options) {
        if (options.kind == "restart") platform_back_ = options.away;
        if (options.kind == "names") names_back_ = options.away;
        for (int router = 0; router < options.routers; ++router) {
            if (options.kind == "restart")
                Lose();
            else
                Supervise(Chance(1) + Seconds(options.spread));
        }
    }
    const std::vector<Second>& seconds() const { return seconds_; }

  private:
    double Chance(double most) { return std::uniform_real_distribution<double>(0, most)(generator_); }
    /// As the supervisor draws them: whole ones.
    int Seconds(int most) { return std::uniform_int_distribution<int>(0, most)(generator_); }
    Second& At(double time) {
        const auto second = static_cast<std::size_t>(time);
        if (second >= seconds_.size()) seconds_.resize(second + 1);
        return seconds_[second];
    }

    bool Connect(double time) {
        ++At(time).attempts;
        if (time < platform_back_) return false;
        ++At(time).connections;
        return true;
    }
    bool LogIn(double time) {
        if (!Connect(time)) return false;
        ++At(time).logins;
        return true;
    }
    /// Moves the time to the end of the try.
    bool RegisterAndLogIn(double& time) {
        const double begun = time;
        time += kTeardown;
        if (!Connect(begun)) return false;
        ++At(begun).registrations;
        return LogIn(time);
    }
    /// All rounds of an agent; false when they are over.
    bool RegisterRounds(double& time, bool server1) {
        for (int round = 0; round < kRounds; ++round) {
            for (int attempt = 0; server1 && attempt < kServer1Tries; ++attempt) {
                if (RegisterAndLogIn(time)) return true;
                time += kAfterServer1;
            }
            if (RegisterAndLogIn(time)) return true;
        }
        return false;
    }
    bool Resolve(double& time) {
        for (int query = 0; query < kQueries; ++query, time += kQueryTimeout) {
            ++At(time).queries;
            if (time >= names_back_) return true;
        }
        return false;
    }
    /// From an agent's start to its login (true) or its end.
    bool RunAgent(double& time) {
        time += kStart + Chance(0.02);
        const bool server1 = Resolve(time);
        const bool server2 = Resolve(time);
        return (server1 || server2) && RegisterRounds(time, server1);
    }
    void Supervise(double time) {
        for (int delay = 1;; delay = std::min(2 * delay, kLongestDelay)) {
            const double started = time;
            if (RunAgent(time)) return;
            if (time - started >= kEarly) delay = 1;
            time += delay + Seconds(delay + options_.spread);
        }
    }
    /// The link is lost at 0.
    void Lose() {
        double time = kUntilLost + Chance(0.05);
        const double standing = options_.standing * 3600;
        if (standing <= kWeek) {
            time += kTeardown + kAfterLoss;
            if (standing < kRegistrationLife) {
                if (LogIn(time)) return;
                time += kTeardown;
            }
            if (RegisterRounds(time, true)) return;
        }
        Supervise(time + 1 + Seconds(1 + options_.spread));
    }

    const StormOptions& options_;
    double platform_back_ = 0;
    double names_back_ = 0;
    std::mt19937 generator_{1};
    std::vector<Second> seconds_;
};

Json Highest(const std::vector<Second>& seconds, int Second::*what) {
    int highest = 0;
    for (const Second& second : seconds) highest = std::max(highest, second.*what);
    return highest;
}

/// When so many routers are in.
std::size_t SecondsUntilIn(const std::vector<Second>& seconds, double routers) {
    int in = 0;
    for (std::size_t at = 0; at < seconds.size(); ++at)
        if ((in += seconds[at].logins) >= routers) return at + 1;
    return seconds.size();
}

void WriteCurve(const std::vector<Second>& seconds, const std::string& path) {
    std::ofstream csv(path);
    csv << "second,attempts,connections,registrations,logins,logged_in\n";
    int in = 0;
    for (std::size_t at = 0; at < seconds.size(); ++at) {
        const Second& second = seconds[at];
        in += second.logins;
        csv << Format("%zu,%d,%d,%d,%d,%d\n", at + 1, second.attempts, second.connections,
                      second.registrations, second.logins, in);
    }
    if (!csv.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace

int ShowStorm(const StormOptions& options, Output& output) {
    const Storm storm(options);
    const std::vector<Second>& seconds = storm.seconds();
    if (!options.csv.empty()) WriteCurve(seconds, options.csv);
    const Json results = {{"storm", options.kind},
                          {"routers", options.routers},
                          {"most attempts in a second", Highest(seconds, &Second::attempts)},
                          {"most connections in a second", Highest(seconds, &Second::connections)},
                          {"most registrations in a second", Highest(seconds, &Second::registrations)},
                          {"most name queries in a second", Highest(seconds, &Second::queries)},
                          {"seconds until half are in", SecondsUntilIn(seconds, options.routers * 0.5)},
                          {"seconds until all are in", SecondsUntilIn(seconds, options.routers)}};
    output.Show(results, Lines(results));
    return 0;
}

}  // namespace plug::bench
