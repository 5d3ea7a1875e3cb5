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
constexpr int kDevices = 200;
constexpr std::size_t kRulesPerCommand = 20;

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

Json Holdings(const std::string& when, pid_t process) {
    const std::string folder = "/proc/" + std::to_string(process);
    const auto entries = std::filesystem::directory_iterator(folder + "/fd");
    return {{"", when},
            {"resident_kib", NumberAfter(folder + "/status", "VmRSS:")},
            {"descriptors", std::distance(begin(entries), end(entries))},
            {"threads", NumberAfter(folder + "/status", "Threads:")}};
}

Json Window(const char* flag, int change) {
    const MacAddress mac{0, 0, 0x5E, 0, 0x53, static_cast<std::uint8_t>(change / 2 % kDevices)};
    return {{"FLAG", flag},     {"MAC", MacText(mac)}, {"DAY", std::to_string(change / 2 % 7 + 1)},
            {"START", "01:00"}, {"STOP", "05:00"},     {"ALLOW", "0"}};
}

Json Limit(int change) {
    const MacAddress mac{0, 0, 0x5E, 0, 0x53, static_cast<std::uint8_t>(change % kDevices)};
    return {{"FLAG", std::to_string(change % 2)},
            {"MAC", MacText(mac)},
            {"UP", std::to_string(change)},
            {"DOWN", std::to_string(change)}};
}

/// Makes changes `from` to `to`: a list of windows, each added and removed again, then a list of limits, and
/// so on. More keys come than the agent's table takes, so the refusals are among them. False when the agent
/// does not answer.
bool ChangeRules(Platform& platform, const MacAddress& agent, int from, int to) {
    for (bool windows = true; from < to; windows = !windows) {
        Json list = Json::array();
        for (; from < to && list.size() < kRulesPerCommand; ++from)
            list.push_back(windows ? Window(from % 2 == 0 ? "1" : "0", from) : Limit(from));
        const CommandRow& row = *FindCommand(windows ? "windows-set" : "limits-set");
        const ByteVector parameters = EncodeParameters(row, {"text=" + Json{{"LIST", list}}.dump()});
        const auto answer = platform.Ask(agent, row.id, parameters, kPatience);
        if (!answer || answer->result() != 0) return false;
    }
    return true;
}

}  // namespace

int SoakAgent(const SoakOptions& options, Output& output) {
    const TemporaryFolder folder;
    Platform platform;
    AgentSetup setup = SetupFor(platform);
    setup.folder = folder.path();
    const auto agent = StartAgent(setup);
    const auto beat = platform.WaitFor(EventKind::kHeartbeat, Milliseconds(30000));
    if (!beat) throw std::runtime_error("the agent does not log in");
    const MacAddress mac = beat->mac;

    LocalPeer peer;
    if (!peer.Connect()) throw std::runtime_error("the agent has no local socket");
    for (const std::uint16_t id : kCommands) platform.Ask(mac, id);
    Json holdings = {Holdings("before", agent->pid())};

    std::atomic<bool> done{false};
    Load load;
    std::thread reporter([&] { load = Report(peer, done); });
    const auto end = Clock::now() + std::chrono::seconds(options.seconds);
    int asked = 0;
    int answered = 0;
    int failed = 0;
    Milliseconds slowest{0};
    for (; Clock::now() < end && agent->Running(); ++asked) {
        const auto sent = Clock::now();
        const auto answer = platform.Ask(
            mac, kCommands[static_cast<std::size_t>(asked) % std::size(kCommands)], {}, kPatience);
        slowest = std::max(slowest, std::chrono::duration_cast<Milliseconds>(Clock::now() - sent));
        answered += answer.has_value();
        failed += answer && answer->result() != 0;
    }
    done = true;
    reporter.join();
    bool runs = agent->Running() && platform.Ask(mac, 18).has_value();
    if (runs) holdings.push_back(Holdings("after the load", agent->pid()));
    // The table's own memory comes with the first changes.
    for (int from = 0, to = options.rule_changes / 10; runs && from < options.rule_changes;
         from = std::exchange(to, options.rule_changes)) {
        runs = ChangeRules(platform, mac, from, to);
        if (runs) holdings.push_back(Holdings("after " + std::to_string(to) + " rule changes", agent->pid()));
    }

    int relayed = 0;
    Cursor all = platform.FromStart();
    while (const auto event = all.Next(Milliseconds(0)))
        relayed += event->kind == EventKind::kReport && event->data_type == 84;
    const Json results = {{"seconds", options.seconds},
                          {"commands", asked},
                          {"answered", answered},
                          {"of these with a failure", failed},
                          {"slowest answer (ms)", slowest.count()},
                          {"connections of the local agent", load.connections},
                          {"of these closed by the agent", load.turned_away},
                          {"reports sent", load.reports},
                          {"reports relayed", relayed},
                          {"the agent at the end", runs ? "answers" : "GONE OR SILENT"},
                          {"holdings", holdings}};
    output.Show(results, Lines(results));
    return runs && answered == asked ? 0 : 1;
}

}  // namespace plug::bench
