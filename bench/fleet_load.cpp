#include <cmath>

#include "bench/effort.h"
#include "bench/fleet.h"
#include "bench/text.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

// Three from the router's library, one by way of the local peer.
constexpr std::uint16_t kCommands[] = {18, 47, 3, 77};
constexpr int kLoginPatience = 120;
constexpr int kReturnPatience = 90;  // a lost link is back after some 25 seconds
constexpr int kAnswerPatience = 20;

/// A mean and the greatest of some values.
struct Values {
    double sum = 0;
    double most = 0;
    int count = 0;

    void Add(double value) {
        sum += value;
        most = std::max(most, value);
        ++count;
    }
    Json Rounded(int digits) const {
        const double mean = count > 0 ? sum / count : 0;
        return {{"mean", Format("%.*f", digits, mean)}, {"most", Format("%.*f", digits, most)}};
    }
};

class Load {
  public:
    Load(Fleet& fleet, const FleetOptions& options) : fleet_(fleet), options_(options) {}

    Json Rest();
    void Run();
    /// Asks each agent once more. How many do not answer.
    int Silent();
    int links_lost() const { return links_lost_; }
    int reports_sent() const { return reports_sent_; }
    int devices_switched() const { return devices_switched_; }

  private:
    FleetAgent& Next() {
        const double loaded = std::ceil(static_cast<double>(fleet_.agents().size()) * options_.share / 100);
        next_ = (next_ + 1) % std::max(static_cast<std::size_t>(loaded), std::size_t{1});
        return *fleet_.agents()[next_];
    }
    void Ask(FleetAgent& agent, std::uint16_t id);

    Fleet& fleet_;
    const FleetOptions& options_;
    std::size_t next_ = 0;
    std::size_t next_command_ = 0;
    int links_lost_ = 0;
    int reports_sent_ = 0;
    int devices_switched_ = 0;
};

void Load::Ask(FleetAgent& agent, std::uint16_t id) {
    static constexpr std::uint8_t kFirst[] = {1};  // of the WANs, for command 3; others have no parameters
    Platform& platform = *fleet_.platform();
    const std::uint16_t head = platform.NextHead();
    const MacAddress& mac = agent.identity().mac;
    fleet_.traffic().Ask(mac, head);
    const ConstBytes parameters = id == 3 ? ConstBytes(kFirst) : ConstBytes();
    if (!platform.SendCommand(mac, id, parameters, {}, head)) fleet_.traffic().Forget(mac, head);
}

/// What an agent takes that has nothing to do but its heartbeats.
Json Load::Rest() {
    std::vector<double> before;
    for (const auto& agent : fleet_.agents()) before.push_back(EffortSoFar(agent->pid()).cpu_seconds);
    fleet_.RunFor(options_.rest_seconds, {});
    Values cpu;
    Values private_kib;
    Values shared_kib;
    Values threads;
    for (std::size_t at = 0; at < before.size(); ++at) {
        const pid_t process = fleet_.agents()[at]->pid();
        const Effort effort = EffortSoFar(process);
        const Holdings holdings = HoldingsOf(process);
        cpu.Add((effort.cpu_seconds - before[at]) * 1000 * 60 / std::max(options_.rest_seconds, 1));
        private_kib.Add(holdings.private_kib);
        shared_kib.Add(holdings.resident_kib - holdings.private_kib);
        threads.Add(effort.threads);
    }
    Json rows = Json::array();
    const auto add = [&rows](const char* name, const Json& values) {
        Json row = {{"one agent at rest", name}};
        row.update(values);
        rows.push_back(row);
    };
    add("private memory (KiB)", private_kib.Rounded(0));
    add("shared memory (KiB)", shared_kib.Rounded(0));
    add("CPU time in a minute (ms)", cpu.Rounded(1));
    add("threads", threads.Rounded(0));
    return rows;
}

void Load::Run() {
    std::vector<Fleet::Beat> beats;
    if (fleet_.platform() != nullptr) {
        beats.push_back(
            {options_.rate, [this] { Ask(Next(), kCommands[next_command_++ % std::size(kCommands)]); }});
        beats.push_back({options_.lose / 60, [this] {
                             if (fleet_.platform()->Drop(Next().identity().mac, links_lost_ % 2 == 1))
                                 ++links_lost_;
                         }});
    }
    beats.push_back({options_.reports, [this] { reports_sent_ += Next().Report(); }});
    beats.push_back({options_.churn, [this] { devices_switched_ += Next().SwitchDevice(); }});
    fleet_.RunFor(options_.seconds, std::move(beats));
}

int Load::Silent() {
    const int answered = fleet_.traffic().counts().answered;
    for (const auto& agent : fleet_.agents()) Ask(*agent, kCommands[0]);
    fleet_.RunFor(kAnswerPatience, {}, [this] { return fleet_.traffic().AllSettled(); });
    return options_.agents - (fleet_.traffic().counts().answered - answered);
}

/// What this program takes, with a thread and some eight descriptors for each agent.
Json OwnCosts(double seconds, double cpu_before) {
    const Effort effort = EffortSoFar(getpid());
    const Holdings holdings = HoldingsOf(getpid());
    return {{"threads", effort.threads},
            {"descriptors", holdings.descriptors},
            {"resident_kib", holdings.resident_kib},
            {"cpu_percent", Format("%.1f", (effort.cpu_seconds - cpu_before) / seconds * 100)}};
}

}  // namespace

int LoadFleet(Fleet& fleet, const FleetOptions& options, Output& output) {
    fleet.BeginTimeline();
    fleet.Start();
    const bool all_in = fleet.AwaitAll(kLoginPatience);
    const double start_seconds = fleet.Elapsed();
    int peers = 0;
    for (const auto& agent : fleet.agents()) peers += agent->ConnectPeer();

    Json results = {{"agents", options.agents},
                    {"logged in", fleet.LoggedIn()},
                    {"seconds from the first start until then", Format("%.1f", start_seconds)},
                    {"local peers", peers}};
    Load load(fleet, options);
    const Json rest = load.Rest();
    const double cpu_before = EffortSoFar(getpid()).cpu_seconds;
    load.Run();
    const Json own = OwnCosts(std::max(options.seconds, 1), cpu_before);
    const bool all_back = fleet.AwaitAll(kReturnPatience);
    const auto runs = [](const auto& agent) { return agent->Running(); };
    const auto running = std::count_if(fleet.agents().begin(), fleet.agents().end(), runs);

    results["seconds under load"] = options.seconds;
    int silent = 0;
    if (fleet.platform() != nullptr) {
        const FleetTraffic& traffic = fleet.traffic();
        const std::string half = Format("%.2f", traffic.RoundTrip(0.5));
        const std::string most = Format("%.2f", traffic.RoundTrip(0.99));
        silent = load.Silent();
        const TrafficCounts counts = traffic.counts();
        results.update({{"commands", counts.asked},
                        {"answered", counts.answered},
                        {"their link was lost first", counts.cut},
                        {"answers lost", counts.lost},
                        {"round trip p50 (ms)", half},
                        {"round trip p99 (ms)", most},
                        {"links lost on purpose", load.links_lost()},
                        {"logins", counts.logins},
                        {"reports seen by the platform", counts.reports},
                        {"bad frames", counts.bad_frames}});
    }
    results.update({{"reports of the local peers", load.reports_sent()},
                    {"devices come or gone", load.devices_switched()},
                    {"logged in at the end", fleet.LoggedIn()},
                    {"running at the end", running},
                    {"silent at the end", silent}});
    results["rest"] = rest;
    results["bench"] = Json::array({own});
    output.Show(results, Lines(results));
    const TrafficCounts counts = fleet.traffic().counts();
    const bool good = all_in && all_back && running == options.agents && silent == 0 && counts.lost == 0 &&
                      counts.bad_frames == 0;
    return good ? 0 : 1;
}

}  // namespace plug::bench
