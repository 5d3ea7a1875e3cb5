// The agent as a process beside the bench, over the simulated router.
#pragma once

#include <memory>

#include "bench/platform.h"
#include "bench/process.h"

namespace plug::bench {

struct AgentSetup {
    std::string binary;           // empty: `plug` in the program's folder
    std::string folder = "/tmp";  // where plug.conf and router.json are
    std::string pin = "123456789012";
    std::string key = "0123456789abcdef";
    std::string server1 = "127.0.0.1";  // without "com" in it: used as it is, never resolved
    std::string server2;
    std::uint16_t port = 0;                // the registration port
    std::string router;                    // content of router.json; empty: the simulator writes its own
    std::vector<std::string> arguments;    // more options, as "-d"
    std::vector<std::string> environment;  // "NAME=value"
    bool capture = true;
};

/// The set-up that registers at `platform`.
AgentSetup SetupFor(const Platform& platform);

/// The text of plug.conf for a set-up.
std::string ProfileText(const AgentSetup& setup);
/// Writes plug.conf (and router.json when given) and tells how the agent is started: `plug -f
/// <folder>/plug.conf`, with ROUTER_SIM naming router.json. For tests that start it by another program.
ProcessSpec AgentCommand(const AgentSetup& setup);
std::unique_ptr<Process> StartAgent(const AgentSetup& setup);

}  // namespace plug::bench
