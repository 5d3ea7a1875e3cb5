// scripts/router-check.bench against the agent over a simulated router that is well, and over one that is
// not.
#include <gtest/gtest.h>

#include "bench/process.h"

namespace plug::test {
namespace {

/// Runs the script in a sandbox of the bench, over a router whose state file went through sed.
bench::Outcome CheckRouter(const std::string& change) {
    const bench::TemporaryFolder folder;
    const std::string script = folder.path() + "/check.bench";
    bench::WriteFile(script,
                     "start-agent\n"
                     "shell until test -s \"$ROUTER_SIM\"; do sleep 0.05; done; sed -i '" +
                         change + "' \"$ROUTER_SIM\"\n" + bench::ReadFile(PLUG_ROUTER_CHECK));
    const std::string bench = bench::ProgramFolder() + "/plug-bench";
    return bench::Run(
        {.argv = {"/bin/sh", "-c",
                  "'" + bench + "' --sandbox --register-port 0 --login-port 0 run - < " + script}},
        bench::Milliseconds(120'000));
}

TEST(RouterCheck, HoldsOverAGoodRouterOnly) {
    const bench::Outcome good = CheckRouter("");
    EXPECT_EQ(0, good.status) << good.output;

    const bench::Outcome bad = CheckRouter(
        "s/\"netmask\":\t\"255.255.255.0\"/\"netmask\":\t\"0.255.255.255\"/; s/\"use_percent\":\t12/"
        "\"use_percent\":\t1200/; s/00:00:5E:00:53:10/00:00:00:00:00:00/;"
        "s/\"faults\":\t{/&\"get_led_switch\": 5/");
    EXPECT_EQ(1, bad.status) << bad.output;
    for (const char* complaint :
         {"expected netmask != 0.255.255.255", "expected percent < 101, saw 1200",
          "expected ssids.0.bssid != 00:00:00:00:00:00", "expected result == 0, saw 5"})
        EXPECT_NE(std::string::npos, bad.output.find(complaint)) << complaint << '\n' << bad.output;
}

}  // namespace
}  // namespace plug::test
