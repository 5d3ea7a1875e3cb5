#include "bench/agent_process.h"

namespace plug::bench {

AgentSetup SetupFor(const Platform& platform) {
    AgentSetup setup;
    setup.key = platform.options().key;
    if (!platform.options().pin.empty()) setup.pin = platform.options().pin;
    setup.server1 = platform.options().listen == "0.0.0.0" ? "127.0.0.1" : platform.options().listen;
    setup.port = platform.register_port();
    return setup;
}

std::string ProfileText(const AgentSetup& setup) {
    std::string text =
        "[Dev]\nPIN=" + setup.pin + "\n[Protool]\nKEY=" + setup.key + "\nSERVER1=" + setup.server1 + "\n";
    if (!setup.server2.empty()) text += "SERVER2=" + setup.server2 + "\n";
    return text + "PORT=" + std::to_string(setup.port) + "\n";
}

ProcessSpec AgentCommand(const AgentSetup& setup) {
    const std::string profile = setup.folder + "/plug.conf";
    const std::string router = setup.folder + "/router.json";
    WriteFile(profile, ProfileText(setup));
    if (!setup.router.empty()) WriteFile(router, setup.router);

    ProcessSpec spec;
    spec.argv = {setup.binary.empty() ? ProgramFolder() + "/plug" : setup.binary, "-f", profile};
    spec.argv.insert(spec.argv.end(), setup.arguments.begin(), setup.arguments.end());
    spec.environment = {"ROUTER_SIM=" + router};
    spec.environment.insert(spec.environment.end(), setup.environment.begin(), setup.environment.end());
    spec.capture = setup.capture;
    spec.own_group = true;
    return spec;
}

std::unique_ptr<Process> StartAgent(const AgentSetup& setup) {
    return std::make_unique<Process>(AgentCommand(setup));
}

}  // namespace plug::bench
