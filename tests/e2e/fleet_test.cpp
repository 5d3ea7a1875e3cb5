// A fleet of real agents, by the bench's program as its user has it.
#include <sys/prctl.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <sstream>

#include "bench/agent_link.h"
#include "bench/layout.h"
#include "bench/sandbox.h"
#include "fixture.h"

namespace plug::e2e {
namespace {

class FleetTest : public testing::Test {
  protected:
    void SetUp() override {
        EnterSandbox();
        // What a fleet leaves behind becomes a child of this process, for NothingIsLeft to see.
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        mounts_ = ReadFile("/proc/self/mounts");
        temporary_ = Temporary();
    }

    static ProcessSpec Command(const std::vector<std::string>& options) {
        ProcessSpec command{.argv = {ProgramFolder() + "/plug-bench", "--json", "fleet"}};
        command.argv.insert(command.argv.end(), options.begin(), options.end());
        return command;
    }
    /// The result, which stands behind what the progress says.
    static Json ResultOf(const std::string& output) {
        const std::size_t begin = output.find('{');
        return Json::parse(
            begin == std::string::npos ? "" : output.substr(begin, output.find('\n', begin) - begin), nullptr,
            false);
    }
    void ExpectNothingIsLeft() {
        EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG)) << "a process is left";
        EXPECT_EQ(mounts_, ReadFile("/proc/self/mounts"));
        EXPECT_EQ(temporary_, Temporary());
    }
    /// What /tmp holds: nothing, or the way to the project if that lies there.
    static std::set<std::filesystem::path> Temporary() {
        const std::filesystem::directory_iterator files("/tmp");
        return {begin(files), end(files)};
    }

    std::string mounts_;
    std::set<std::filesystem::path> temporary_;
};

TEST_F(FleetTest, AllAnswerAndComeBack) {
    const Outcome outcome = bench::Run(
        Command({"-n", "5", "--first", "300", "--rest-seconds", "1", "--seconds", "6", "--rate", "40",
                 "--reports", "5", "--churn", "2", "--lose", "20", "--csv", "/tmp/seconds.csv"}),
        kPatience * 3);
    EXPECT_EQ(0, outcome.status) << outcome.output;
    const Json result = ResultOf(outcome.output);
    EXPECT_EQ(5, result["logged in"]);
    EXPECT_LE(200, result["commands"]);
    EXPECT_EQ(result["commands"],
              result["answered"].get<int>() + result["their link was lost first"].get<int>());
    EXPECT_EQ(0, result["answers lost"]);
    EXPECT_LE(1, result["links lost on purpose"]);
    EXPECT_LT(5, result["logins"]) << "the lost ones came back";
    EXPECT_LT(0, result["devices come or gone"]);
    EXPECT_LT(5, result["reports seen by the platform"]);
    EXPECT_TRUE(ReadFile("/tmp/seconds.csv").starts_with("second,attempts,connections,"));
    std::filesystem::remove("/tmp/seconds.csv");
    ExpectNothingIsLeft();
}

TEST_F(FleetTest, GoesToAnotherPlatformAndEndsByCtrlC) {
    Platform platform;
    Process fleet(Command({"-n", "3", "--first", "300", "--server", "127.0.0.1", "--port",
                           std::to_string(platform.register_port()), "--seconds", "600"}));
    for (int login = 0; login < 3; ++login) ASSERT_TRUE(platform.WaitFor(EventKind::kHeartbeat, kPatience));
    const auto last = platform.Find({2, 0, 0, 0, 1, 46});
    ASSERT_TRUE(last) << fleet.Output();
    EXPECT_EQ("FLEET0000302", last->serial);
    EXPECT_EQ("000000000302", last->pin);
    fleet.Signal(SIGINT);
    EXPECT_EQ(130, fleet.WaitExit(kPatience));
    ExpectNothingIsLeft();
}

TEST_F(FleetTest, ComesBackFromAStorm) {
    const Outcome outcome = bench::Run(
        Command({"-n", "2", "--storm", "names", "--away", "8", "--spread", "0", "--csv", "/tmp/seconds.csv"}),
        kPatience * 3);
    EXPECT_EQ(0, outcome.status) << outcome.output;
    const Json result = ResultOf(outcome.output);
    EXPECT_EQ(2, result["logged in at the end"]);
    EXPECT_LE(1, result["most connections in a second"]);
    std::istringstream rows(ReadFile("/tmp/seconds.csv"));
    std::string row;
    std::getline(rows, row);
    int quiet = 0;
    for (; std::getline(rows, row) && std::stod(row) < 8; ++quiet)
        EXPECT_TRUE(row.ends_with(",0,0,0,0,0")) << "no name is resolved yet: " << row;
    EXPECT_LE(2, quiet);
    std::filesystem::remove("/tmp/seconds.csv");
    ExpectNothingIsLeft();
}

/// One router that lost its link less than 20 hours after its login, and a platform that is away for a
/// minute: what the agent does is in the tests of its session.
TEST_F(FleetTest, AComputedRouterKeepsThePauses) {
    const Outcome outcome =
        bench::Run({.argv = {ProgramFolder() + "/plug-bench", "storm", "restart", "--routers", "1", "--away",
                             "60", "--csv", "/tmp/seconds.csv"}});
    EXPECT_EQ(0, outcome.status) << outcome.output;
    const std::string seconds = ReadFile("/tmp/seconds.csv");
    std::istringstream rows(seconds);
    std::string attempts;
    for (std::string row; std::getline(rows, row);)
        if (row.find(",1,") != std::string::npos) attempts += row.substr(0, row.find(',')) + " ";
    EXPECT_EQ("25 26 32 38 44 45 51 57 63 64 ", attempts);
    EXPECT_TRUE(seconds.ends_with("\n64,1,1,0,1,1\n")) << seconds;
}

}  // namespace
}  // namespace plug::e2e
