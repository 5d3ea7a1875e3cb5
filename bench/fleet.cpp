#include "bench/fleet.h"

#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "bench/sandbox.h"
#include "bench/text.h"

namespace plug::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kEndPatience = std::chrono::seconds(8);  // an agent takes three, its supervisor five
constexpr int kMostPerTurn = 20;
constexpr double kForever = 1e9;
constexpr double kLooksPerSecond = 10;
constexpr int kInterruptedStatus = 130;
constexpr auto kBetweenLogLines = std::chrono::minutes(1);  // of the progress, without a terminal

/// Each agent takes some eight descriptors here.
void AllowManyDescriptors() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

/// Where it was built it lies beside the program.
std::string Supervisor() {
    const std::string beside = ProgramFolder() + "/supervise";
    return std::filesystem::exists(beside) ? beside : "plug-supervise";
}

FleetSetup SetupOf(const FleetOptions& options, const PlatformOptions& platform, const std::string& folder) {
    FleetSetup setup;
    setup.folder = folder;
    setup.key = platform.key;
    setup.own_network = options.server.empty();
    setup.server1 = setup.own_network ? "plug1.example.com" : options.server;
    setup.server2 = setup.own_network ? "plug2.example.com" : options.server;
    setup.port = setup.own_network ? platform.register_port : options.port;
    if (!options.storm.empty()) setup.supervisor = Supervisor();
    setup.spread = options.spread;
    return setup;
}

void PrintIdentities(const FleetOptions& options, Output& output) {
    for (int number = options.first; number < options.first + options.agents; ++number) {
        const Identity identity = FleetIdentity(number);
        const std::string mac = MacText(identity.mac);
        output.Show({{"mac", mac}, {"serial", identity.serial}, {"pin", identity.pin}},
                    mac + "," + identity.serial + "," + identity.pin);
    }
}

/// Names are those of the private hosts or of a name server inside the agent's own network.
void EnterFleetSandbox(const FleetOptions& options) {
    if (!options.server.empty()) return EnterSandbox({}, SandboxNetwork::kMachines);
    EnterSandbox(kFleetHosts);
    static constexpr char kResolver[] = "/tmp/.resolv.conf";
    WriteFile(kResolver, "nameserver 127.0.0.1\n");
    if (mount(kResolver, "/etc/resolv.conf", nullptr, MS_BIND, nullptr) != 0)
        throw std::system_error(errno, std::generic_category(), "private resolv.conf");
}

}  // namespace

int RunFleet(const FleetOptions& options, const PlatformOptions& platform, Output& output) {
    if (options.identities) {
        PrintIdentities(options, output);
        return 0;
    }
    AllowManyDescriptors();
    std::ofstream csv;
    if (!options.csv.empty()) {
        csv.open(options.csv);  // before the sandbox hides it
        if (!csv) throw std::runtime_error("cannot write " + options.csv);
        csv << "second,attempts,connections,registrations,logins,logged_in\n";
    }
    EnterFleetSandbox(options);
    const InterruptGuard guard;
    try {
        Fleet fleet(options, platform, csv.is_open() ? &csv : nullptr);
        return options.storm.empty() ? LoadFleet(fleet, options, output) : StormFleet(fleet, options, output);
    } catch (const Interrupted&) {
        fputs("interrupted, all agents have been ended\n", stderr);
        return kInterruptedStatus;
    }
}

Fleet::Fleet(const FleetOptions& options, const PlatformOptions& platform, std::ostream* timeline)
    : options_(options), timeline_(timeline) {
    const FleetSetup setup = SetupOf(options, platform, folder_.path());
    PlatformOptions own = platform;
    for (int at = 0; at < options.agents; ++at) {
        agents_.push_back(std::make_unique<FleetAgent>(setup, options.first + at));
        if (const Network* const network = agents_.back()->network())
            own.networks.push_back(network->descriptor());
        ThrowIfInterrupted();
    }
    if (!options.server.empty()) return;
    own.on_event = [this](const LinkEvent& event) { traffic_.OnEvent(event); };
    platform_ = std::make_unique<Platform>(own);
}

Fleet::~Fleet() {
    for (const auto& agent : agents_) agent->AskToEnd();
    const auto deadline = Clock::now() + kEndPatience;
    for (const auto& agent : agents_)
        while (agent->Running() && Clock::now() < deadline) std::this_thread::sleep_for(Milliseconds(5));
    agents_.clear();
}

void Fleet::Start() {
    std::size_t next = 0;
    const double per_second = 1000.0 / std::max(options_.start_interval_ms, 0.001);
    RunFor(kForever, {{per_second, [&] { agents_[next++]->Start(); }}},
           [&] { return next == agents_.size(); });
}

int Fleet::LoggedIn() const {
    const auto in = [this](const auto& agent) {
        if (!agent->LoggedIn()) return false;
        if (platform_ == nullptr) return true;
        const auto known = platform_->Find(agent->identity().mac);  // before an agent that its link is lost
        return known && known->logged_in;
    };
    return static_cast<int>(std::count_if(agents_.begin(), agents_.end(), in));
}

bool Fleet::AwaitAll(int seconds) {
    bool all_in = LoggedIn() == options_.agents;
    const auto look = [&] { all_in = LoggedIn() == options_.agents; };
    if (!all_in) RunFor(seconds, {{kLooksPerSecond, look}}, [&all_in] { return all_in; });
    return all_in;
}

void Fleet::BeginTimeline() {
    begin_ = Clock::now();
    noted_ = traffic_.counts();
    noted_attempts_ = Attempts();
}

double Fleet::Elapsed() const {
    return std::chrono::duration<double>(Clock::now() - begin_).count();
}

void Fleet::RunFor(double seconds, std::vector<Beat> beats, const std::function<bool()>& done) {
    const auto begun = Clock::now();
    const auto end =
        begun + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    bool over = false;
    if (seconds >= 1)
        beats.push_back({1, [&] {
                             traffic_.CountLost();
                             NoteSecond();
                             TellProgress(false);
                         }});
    std::erase_if(beats, [](const Beat& beat) { return beat.per_second <= 0; });
    const auto period = [](const Beat& beat) {
        return std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(1 / beat.per_second));
    };
    for (Beat& beat : beats) beat.next = begun + period(beat);
    while (!over && Clock::now() < end) {
        auto next = end;
        for (Beat& beat : beats) {
            for (int turn = 0; !over && beat.next <= Clock::now() && turn < kMostPerTurn; ++turn) {
                beat.act();
                beat.next += period(beat);
                over = done && done();
            }
            next = std::min(next, beat.next);
        }
        PauseFor(std::max(std::chrono::ceil<Milliseconds>(next - Clock::now()), Milliseconds(0)));
    }
    if (seconds >= 1) TellProgress(true);
}

int Fleet::Attempts() const {
    int attempts = 0;
    for (const auto& agent : agents_) attempts += agent->ConnectionAttempts();
    return attempts;
}

void Fleet::NoteSecond() {
    if (begin_ == Clock::time_point{}) return;
    const TrafficCounts now = traffic_.counts();
    const int attempts = Attempts();
    const int connections = now.connections - noted_.connections;
    most_connections_ = std::max(most_connections_, connections);
    most_attempts_ = std::max(most_attempts_, attempts - noted_attempts_);
    if (timeline_ != nullptr)
        *timeline_ << Format("%.1f,%d,%d,%d,%d,%d\n", Elapsed(), attempts - noted_attempts_, connections,
                             now.registrations - noted_.registrations, now.logins - noted_.logins, LoggedIn())
                   << std::flush;
    noted_ = now;
    noted_attempts_ = attempts;
}

void Fleet::TellProgress(bool last) {
    const bool terminal = isatty(STDERR_FILENO) != 0;
    if (!terminal && !last && Clock::now() < told_ + kBetweenLogLines) return;
    told_ = Clock::now();
    const TrafficCounts now = traffic_.counts();
    fprintf(stderr, "%s%d of %d logged in; %d commands, %d answered, %d lost; %d reports; %d connections%s",
            terminal ? "\r\033[K" : "", LoggedIn(), options_.agents, now.asked, now.answered, now.lost,
            now.reports, now.connections, terminal && !last ? "" : "\n");
    fflush(stderr);
}

}  // namespace plug::bench
