#include "week/world.h"

#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "bench/sandbox.h"

namespace plug::week {
namespace {

constexpr char kClock[] = "/tmp/clock";
constexpr char kZoneFile[] = "/etc/localtime";
constexpr std::uint8_t kUpdate = 2;
constexpr Milliseconds kEndTime{10'000};

}  // namespace

std::uint32_t Setting(const char* name, std::uint32_t otherwise) {
    const char* const value = getenv(name);
    return value != nullptr ? static_cast<std::uint32_t>(std::stoul(value)) : otherwise;
}

void World::SetUp() {
    EnterSandbox("127.0.0.1 localhost\n");
    prctl(PR_SET_CHILD_SUBREAPER, 1);  // what the supervisor leaves behind is ended here
    std::filesystem::create_directory("/tmp/agent");
    for (const char* name : {"plug", "libRouterSdk.so"})
        std::filesystem::copy(ProgramFolder() + "/" + name, std::string("/tmp/agent/") + name);
    clock_ = std::make_unique<preload::TestClock>(kClock);
    platform_ = std::make_unique<Platform>();
    SetZone("Etc/UTC");
    environment_ = {"LD_PRELOAD=" + ProgramFolder() + "/libagent_preload.so",
                    "ASAN_OPTIONS=verify_asan_link_order=0",
                    std::string(preload::kClockVariable) + "=" + kClock,
                    "ROUTER_SIM=/tmp/router.json",
                    "PLUG_RUN=/tmp/run",
                    "PLUG_PUBLIC_KEY=/tmp/plug.pub",
                    "PLUG_SPREAD=0",
                    "PLUG_EARLY=0"};
}

void World::TearDown() {
    if (clock_) clock_->Leash(std::chrono::nanoseconds::max());
    if (supervisor_) {
        supervisor_->Signal(SIGTERM);
        EXPECT_EQ(0, supervisor_->WaitExit(kEndTime).value_or(-1));
        EXPECT_EQ(std::string::npos, supervisor_->Output().find("Sanitizer"));
        if (HasFailure())
            std::cout << "--- the supervisor's output ---\n" << supervisor_->Output() << "--- end ---\n";
    }
    CutPower();
    if (!platform_) return;
    Cursor all = platform_->FromStart();
    while (const auto event = all.Next(Milliseconds(0))) {
        if (event->kind != EventKind::kBadFrame) continue;
        EXPECT_EQ("the connection ended inside a frame", event->note);
    }
}

void World::StartSupervisor() {
    AgentSetup setup = SetupFor(*platform_);
    setup.binary = kAgent;
    setup.router = std::exchange(home_, "");
    ProcessSpec spec = AgentCommand(setup);
    // The agent follows the router's zone, not ours.
    const std::vector<std::string> words{"env", "-u", "TZ", "sh", ProgramFolder() + "/supervise"};
    spec.argv.insert(spec.argv.begin(), words.begin(), words.end());
    spec.environment = environment_;
    supervisor_ = std::make_unique<Process>(spec);
}

void World::CutPower() {
    if (supervisor_) {
        kill(-supervisor_->pid(), SIGKILL);
        supervisor_->Kill();
        supervisor_->WaitForEnd(kEndTime);
        supervisor_.reset();
    }
    while (waitpid(-1, nullptr, 0) > 0) {
    }
}

pid_t World::AgentProcess() {
    return static_cast<pid_t>(NumberAfter("/tmp/run/state", "process="));
}

void World::SetZone(const std::string& name) {
    umount2(kZoneFile, MNT_DETACH);
    const std::string file = "/usr/share/zoneinfo/" + name;
    ASSERT_EQ(0, mount(file.c_str(), kZoneFile, nullptr, MS_BIND, nullptr)) << file;
    setenv("TZ", name.c_str(), 1);
    tzset();
}

void World::OrderUpdate(const HttpServer& server, const std::string& md5, const std::string& rest) {
    const Json order = {{"pluginID", "p"},
                        {"fromVersion", "1"},
                        {"toVersion", "2"},
                        {"url", server.Url(rest)},
                        {"fileLength", server.content().size()},
                        {"fileMD5", md5},
                        {"token", "t"}};
    platform_->SendPlugData(kRouterMac, kUpdate, order.dump());
}

}  // namespace plug::week
