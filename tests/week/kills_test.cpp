// Ends at any moment, updates on the way: the agent is killed, or everything is, as by a loss of power. What
// lies in files must be whole each time, and the agent soon back.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <set>
#include <thread>

#include "week/world.h"

namespace plug::week {
namespace {

using std::chrono::steady_clock;

constexpr int kSpeed = 50;
constexpr Milliseconds kSoon{3000};
constexpr Milliseconds kPatience{20'000};
constexpr std::uint8_t kOnlineInterval = 18;

/// Of a file that is there.
std::optional<std::string> Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return {};
    return std::string(std::istreambuf_iterator<char>(file), {});
}

class Kills : public World {
  protected:
    void SetUp() override {
        World::SetUp();
        environment_.emplace_back("PLUG_PROVEN=1");
        clock_->Run(kSpeed);
        random_.seed(seed_);
        versions_.insert(agent_);
    }
    int Random(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }

    void AwaitLogin();
    /// Orders an update, slow or not, and sometimes one that must not be installed.
    void OrderSome();
    /// False when there is none, as the supervisor is at work.
    bool KillAgent();
    bool KillAll();
    void ExpectWholeFiles();

    const std::uint32_t seed_ = Setting("PLUG_KILL_SEED", 1);
    const std::string agent_ = ReadFile(ProgramFolder() + "/plug");
    std::mt19937 random_;
    std::unique_ptr<HttpServer> server_;
    std::set<std::string> versions_;  // that may be installed
    std::vector<Milliseconds> absences_;
    int power_cuts_ = 0;
};

void Kills::AwaitLogin() {
    const auto logged_in = [this] {
        const auto agent = platform_->Find(kRouterMac);
        return agent && agent->logged_in && ReadFile(kStatus) == "003\n";
    };
    ASSERT_TRUE(WaitUntil(logged_in, kPatience));
    platform_->SendPlugData(kRouterMac, kOnlineInterval,
                            R"({"func40Interval":1})");  // known devices are kept often
}

void Kills::OrderSome() {
    const bool good = Random(3) != 0;
    const std::string version = agent_ + "version " + std::to_string(absences_.size());
    if (good) versions_.insert(version);
    server_ = std::make_unique<HttpServer>(version);
    OrderUpdate(*server_, Md5(good ? version : "another"), Random(2) == 0 ? "plug" : "plug?slow=1");
}

bool Kills::KillAgent() {
    const pid_t process = AgentProcess();
    std::error_code none;
    const auto program = std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", none);
    if (process == 0 || none || !program.string().starts_with(kAgent)) return false;
    kill(process, SIGKILL);
    ExpectWholeFiles();
    return true;
}

bool Kills::KillAll() {
    ++power_cuts_;
    CutPower();
    ExpectWholeFiles();
    StartSupervisor();
    return true;
}

void Kills::ExpectWholeFiles() {
    const std::string status = Content(kStatus).value_or("001\n");
    EXPECT_TRUE(status.size() == 4 && status.find_first_not_of("0123456789") == 3 && status[3] == '\n')
        << ToHex(AsBytes(status));
    const std::string devices = ReadFile("/tmp/macconfig");
    EXPECT_EQ(0U, devices.size() % 14);
    for (std::size_t line = 0; line < devices.size(); line += 14) {
        EXPECT_EQ(12U, devices.find_first_not_of("0123456789abcdef", line) - line) << devices;
        EXPECT_EQ("\r\n", devices.substr(line + 12, 2)) << devices;
    }
    EXPECT_TRUE(versions_.contains(ReadFile(kAgent))) << "the agent is no version of those ordered";
    EXPECT_TRUE(versions_.contains(Content(std::string(kAgent) + ".old").value_or(agent_)))
        << "nor is the old one";
}

TEST_F(Kills, LeaveFilesWholeAndTheAgentSoonBack) {
    StartSupervisor();
    const auto kills = Setting("PLUG_KILLS", 30);
    while (absences_.size() < kills && !HasFailure()) {
        SCOPED_TRACE("kill " + std::to_string(absences_.size()) + " of seed " + std::to_string(seed_));
        if (Random(4) != 0) {
            AwaitLogin();
            OrderSome();
        }
        std::this_thread::sleep_for(Milliseconds(Random(800)));
        Cursor events = platform_->FromNow();
        const auto begin = steady_clock::now();
        if (!(Random(4) == 0 ? KillAll() : KillAgent())) continue;
        ASSERT_TRUE(events.WaitFor(EventKind::kRegister, kPatience)) << "it is not back";
        absences_.push_back(std::chrono::duration_cast<Milliseconds>(steady_clock::now() - begin));
    }
    AwaitLogin();
    ExpectWholeFiles();
    std::ranges::sort(absences_);
    std::cout << absences_.size() << " kills, " << power_cuts_ << " of everything; " << versions_.size() - 1
              << " updates ordered; back after " << absences_.front().count() << " to "
              << absences_.back().count() << " ms, half within " << absences_[absences_.size() / 2].count()
              << " ms\n";
    // A loaded machine may be late once or twice.
    EXPECT_LT(absences_[absences_.size() * 9 / 10], kSoon);
}

}  // namespace
}  // namespace plug::week
