// The real agent under the real supervisor, between a bench platform and the simulated router, in a sandbox
// of its own, on a clock that the test drives.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "bench/agent_process.h"
#include "bench/http_server.h"
#include "bench/router_state.h"
#include "bench/text.h"
#include "preload/test_clock.h"

namespace plug::week {

using namespace plug::bench;  // NOLINT: the tests are written in its words

constexpr MacAddress kRouterMac = {0x00, 0x00, 0x5E, 0x00, 0x53, 0x01};
constexpr char kAgent[] = "/tmp/agent/plug";
constexpr char kStatus[] = "/tmp/plugstatus";

/// A number from the environment, as PLUG_WEEK_SEED.
std::uint32_t Setting(const char* name, std::uint32_t otherwise);

class World : public testing::Test {
  protected:
    /// Everything but the supervisor: its settings can still be added to `environment_`.
    void SetUp() override;
    void TearDown() override;

    void StartSupervisor();
    /// Ends the supervisor, the agent and whatever they run, as a loss of power does.
    void CutPower();
    /// The agent's process as the supervisor tells; 0 between two.
    static pid_t AgentProcess();

    /// Makes a zone of /usr/share/zoneinfo the router's, and the test's own.
    static void SetZone(const std::string& name);
    void OrderUpdate(const HttpServer& server, const std::string& md5, const std::string& rest = "plug");

    std::string home_;  // router.json at the start
    std::vector<std::string> environment_;
    std::unique_ptr<Platform> platform_;
    std::unique_ptr<preload::TestClock> clock_;
    std::unique_ptr<Process> supervisor_;
    RouterState router_{"/tmp/router.json"};

  private:
    std::vector<std::string> command_;
};

}  // namespace plug::week
