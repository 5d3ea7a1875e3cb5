#include "bench/process_commands.h"

namespace plug::bench {

ProcessCommands::ProcessCommands(const Platform& platform, Interpreter& interpreter)
    : platform_(platform), interpreter_(interpreter) {
    setenv("ROUTER_SIM", (folder_.path() + "/router.json").c_str(), 1);
    static constexpr TopicCommand<void (ProcessCommands::*)(const Invocation&)> kCommands[] = {
        {"start-agent", "[<option>]...", "starts the agent beside the bench, with options as -d", 0,
         &ProcessCommands::Start},
        {"stop-agent", "", "kills the agent started here", 0, &ProcessCommands::Stop},
        {"agent-log", "", "what the agent started here has logged", 0, &ProcessCommands::ShowLog},
    };
    interpreter_.AddTopic("agents", *this, kCommands);
}

Process& ProcessCommands::Started() const {
    if (agent_ == nullptr) throw CommandError("no agent was started here");
    return *agent_;
}

void ProcessCommands::Start(const Invocation& words) {
    if (agent_ != nullptr && agent_->Running()) throw CommandError("the agent already runs");
    AgentSetup setup = SetupFor(platform_);
    setup.folder = folder_.path();
    setup.arguments = words.WordsFrom(1);
    agent_ = StartAgent(setup);
}

void ProcessCommands::Stop(const Invocation&) {
    if (agent_ != nullptr) agent_->Kill();
}

void ProcessCommands::ShowLog(const Invocation&) {
    const std::string log = Started().Output();
    interpreter_.Show({{"text", log}}, log);
}

void ProcessCommands::WaitForExit(Milliseconds timeout) {
    Process& agent = Started();
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (agent.Running() && std::chrono::steady_clock::now() < deadline)
        interpreter_.Idle(Milliseconds(50));
    const auto status = agent.WaitExit(Milliseconds(0));
    if (!status) throw CommandError("the agent still runs");
    interpreter_.ShowNews();
    interpreter_.Show({{"status", *status}}, "agent ended with status " + std::to_string(*status));
}

}  // namespace plug::bench
