#include "bench/soak.h"

#include <filesystem>
#include <stdexcept>

#include "bench/agent_process.h"
#include "bench/command_table.h"
#include "bench/local_peer.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr Milliseconds kReportPace{12};  // the agent's dispatcher takes a frame every ten
constexpr auto kConnectionLife = std::chrono::seconds(2);
constexpr std::uint16_t kCommands[] = {18, 71, 73, 77, 78, 80, 47};
constexpr Milliseconds kPatience{15000};
constexpr int kDevices = 73;  // whose days are 511 keys, one less than the agent's table takes
constexpr int kRulesPerCommand = 20;
constexpr double kGrowthKib = 64;  // less is the allocator's and the stacks'

struct Load {
    int reports = 0;
    int connections = 0;
    int turned_away = 0;
};

/// The peer's part, until `done`.
Load Report(LocalPeer& peer, const std::atomic<bool>& done) {
    Load load;
    while (!done) {
        if (!peer.Connect()) continue;
        auto events = peer.FromNow();
        ++load.connections;
        const auto end = Clock::now() + kConnectionLife;
        while (!done && Clock::now() < end) {
            const std::string json = R"({"report":)" + std::to_string(load.reports) + "}";
            if (!peer.Send(84, AsBytes(json))) break;
            ++load.reports;
            std::this_thread::sleep_for(kReportPace);
        }
        const auto closed = events.WaitFor(PeerEventKind::kClosed, Milliseconds(0));
        if (closed) ++load.turned_away;
    }
    return load;
}

MacAddress DeviceMac(int number) {
    return {0, 0, 0x5E, 0, 0x53, static_cast<std::uint8_t>(number % kDevices)};
}

Json Window(const char* flag, int device, const std::string& days, const std::string& stop) {
    return {{"FLAG", flag}, {"MAC", MacText(DeviceMac(device))},
            {"DAY", days},  {"START", "01:00"},
            {"STOP", stop}, {"ALLOW", "0"}};
}

/// Each window that is added is removed by the next change.
Json WindowChange(int change) {
    const int window = change / 2;
    return Window(change % 2 == 0 ? "1" : "0", window, std::to_string(window % 7 + 1),
                  "05:" + std::to_string(window % 60));
}

/// Of a device that the simulated router knows.
Json LimitChange(int change) {
    return {{"FLAG", std::to_string(change % 2)},
            {"MAC", "00:00:5E:00:53:B1"},
            {"UP", std::to_string(change)},
            {"DOWN", std::to_string(change)}};
}

/// The agent under load, and what it held at each look.
class Soak {
  public:
    Soak() {
        AgentSetup setup = SetupFor(platform_);
        setup.folder = folder_.path();
        agent_ = StartAgent(setup);
        const auto beat = platform_.WaitFor(EventKind::kHeartbeat, kPatience);
        if (!beat) throw std::runtime_error("the agent does not log in");
        mac_ = beat->mac;
    }

    void Look(const std::string& when) {
        const std::string folder = "/proc/" + std::to_string(agent_->pid());
        const auto entries = std::filesystem::directory_iterator(folder + "/fd");
        holdings_.push_back({{"", when},
                             {"resident_kib", NumberAfter(folder + "/status", "VmRSS:")},
                             {"descriptors", std::distance(begin(entries), end(entries))},
                             {"threads", NumberAfter(folder + "/status", "Threads:")}});
    }
    /// Since the look before the last one.
    bool Grew() const {
        if (holdings_.size() < 2) return false;
        const Json& before = holdings_[holdings_.size() - 2];
        const Json& now = holdings_.back();
        return now["descriptors"] > before["descriptors"] || now["threads"] > before["threads"] ||
               now["resident_kib"].get<double>() > before["resident_kib"].get<double>() + kGrowthKib;
    }
    const Json& holdings() const { return holdings_; }
    bool Answers() { return agent_->Running() && platform_.Ask(mac_, 18).has_value(); }

    Json LoadFromBothSides(int seconds);
    bool ChangeRules(int changes);

  private:
    Json AskFor(int seconds);
    /// Sends the list of the elements that `make` gives for `from` to `to`; false without a good answer.
    bool SendList(const char* command, int from, int to, const std::function<Json(int)>& make) {
        Json list = Json::array();
        for (; from < to; ++from) list.push_back(make(from));
        const CommandForm& row = *Find(CommandForms(), command);
        const ByteVector parameters = EncodeParameters(row, {"text=" + Json{{"LIST", list}}.dump()});
        const auto answer = platform_.Ask(mac_, row.id, parameters, kPatience);
        return answer && answer->result() == 0;
    }

    TemporaryFolder folder_;
    Platform platform_;
    std::unique_ptr<Process> agent_;
    MacAddress mac_{};
    Json holdings_ = Json::array();
};

/// Commands one after the other.
Json Soak::AskFor(int seconds) {
    int asked = 0;
    int answered = 0;
    int failed = 0;
    Milliseconds slowest{0};
    const auto end = Clock::now() + std::chrono::seconds(seconds);
    for (; Clock::now() < end && agent_->Running(); ++asked) {
        const auto sent = Clock::now();
        const std::uint16_t id = kCommands[static_cast<std::size_t>(asked) % std::size(kCommands)];
        const auto answer = platform_.Ask(mac_, id, {}, kPatience);
        slowest = std::max(slowest, std::chrono::duration_cast<Milliseconds>(Clock::now() - sent));
        answered += answer.has_value();
        failed += answer && answer->result() != 0;
    }
    return {{"seconds", seconds},
            {"commands", asked},
            {"answered", answered},
            {"of these with a failure", failed},
            {"slowest answer (ms)", slowest.count()}};
}

Json Soak::LoadFromBothSides(int seconds) {
    LocalPeer peer;
    if (!peer.Connect()) throw std::runtime_error("the agent has no local socket");
    for (const std::uint16_t id : kCommands) platform_.Ask(mac_, id);
    Look("before");
    std::atomic<bool> done{false};
    Load load;
    std::thread reporter([&] { load = Report(peer, done); });
    Json results = AskFor(seconds);
    done = true;
    reporter.join();
    if (Answers()) Look("after the load");
    int relayed = 0;
    Cursor all = platform_.FromStart();
    while (const auto event = all.Next(Milliseconds(0)))
        relayed += event->kind == EventKind::kReport && event->data_type == 84;
    results.update({{"connections of the local peer", load.connections},
                    {"of these closed by the agent", load.turned_away},
                    {"reports sent", load.reports},
                    {"reports relayed", relayed}});
    return results;
}

/// Lists of windows and of limits in turn, beside a window of each device and day that stays. Looks after a
/// tenth of them, which brings the table's own memory, and at the end. False when the agent does not answer.
bool Soak::ChangeRules(int changes) {
    const auto kept = [](int device) { return Window("1", device, "1234567", "04:00"); };
    if (!SendList("windows-set", 0, kDevices / 2, kept) ||
        !SendList("windows-set", kDevices / 2, kDevices, kept))
        return false;
    bool windows = true;
    bool looked = false;
    for (int from = 0; from < changes; windows = !windows) {
        const int to = std::min(from + kRulesPerCommand, changes);
        if (windows ? !SendList("windows-set", from, to, WindowChange)
                    : !SendList("limits-set", from, to, LimitChange))
            return false;
        from = to;
        if (!looked && from >= changes / 10) Look("after " + std::to_string(from) + " rule changes");
        looked = looked || from >= changes / 10;
    }
    Look("after " + std::to_string(changes) + " rule changes");
    return true;
}

}  // namespace

int SoakAgent(const SoakOptions& options, Output& output) {
    Soak soak;
    Json results = soak.LoadFromBothSides(options.seconds);
    const bool answers = soak.Answers() && soak.ChangeRules(options.rule_changes) && soak.Answers();
    const bool grew = soak.Grew();
    results["rule changes"] = options.rule_changes;
    results["the agent at the end"] = answers ? "answers" : "GONE OR SILENT";
    results["its holdings"] = grew ? "GREW" : "did not grow";
    results["holdings"] = soak.holdings();
    output.Show(results, Lines(results));
    return answers && !grew && results["answered"] == results["commands"] ? 0 : 1;
}

}  // namespace plug::bench
