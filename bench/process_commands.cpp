#include "bench/process_commands.h"

#include "bench/text_table.h"
#include "core/paths.h"

namespace plug::bench {
namespace {

/// What the agent's last word in its status file says; empty for one that says nothing of its end.
std::string LastState() {
    static constexpr std::pair<std::string_view, const char*> kStates[] = {
        {"004", "an update is ready"},        {"104", "an update failed"},
        {"005", "sent away by the platform"}, {"101", "the registration failed"},
        {"102", "it could not go on"},        {"103", "the link was lost"}};
    const std::string state = ReadFile(std::string(kStatusPath)).substr(0, 3);
    for (const auto& [code, words] : kStates)
        if (state == code) return "; its last state is " + state + ", " + words;
    return "";
}

}  // namespace

ProcessCommands::ProcessCommands(const Platform& platform, Interpreter& interpreter)
    : platform_(platform), interpreter_(interpreter) {
    setenv("ROUTER_SIM", (folder_.path() + "/router.json").c_str(), 1);
    static constexpr TopicCommand<void (ProcessCommands::*)(const Invocation&)> kCommands[] = {
        {"start-agent", "[<option>]...", "starts the agent beside the bench, with options as -d", 0,
         &ProcessCommands::Start},
        {"stop-agent", "", "kills the agent started here", 0, &ProcessCommands::Stop},
        {"agent-log", "", "what the agent started here has logged", 0, &ProcessCommands::ShowLog},
    };
    interpreter_.AddTopic("agent", *this, kCommands);
    interpreter_.AddNews([this] { return told_ ? -1 : agent_->end_descriptor(); }, [this] { ShowEnd(); });
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
    ShowEnd();
    agent_ = StartAgent(setup);
    told_ = false;
}

void ProcessCommands::Stop(const Invocation&) {
    if (agent_ != nullptr) agent_->Kill();
}

void ProcessCommands::ShowLog(const Invocation&) {
    const std::string log = Started().Output();
    interpreter_.Show({{"text", log}}, log);
}

void ProcessCommands::ShowEnd() {
    if (told_ || agent_->Running()) return;
    told_ = true;
    const int status = agent_->WaitExit(Milliseconds(0)).value();
    const std::string state = status <= 128 || status == 255 ? LastState() : "";
    interpreter_.output().Show({{"event", "exited"}, {"status", status}},
                               ClockText(std::chrono::system_clock::now()) + "  the agent started here " +
                                   EndingText(status) + state);
}

void ProcessCommands::WaitForExit(Milliseconds timeout) {
    Process& agent = Started();
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (agent.Running() && std::chrono::steady_clock::now() < deadline)
        interpreter_.Idle(Milliseconds(50));
    const auto status = agent.WaitExit(Milliseconds(0));
    if (!status) throw CommandError("the agent still runs");
    interpreter_.ShowNews();
    interpreter_.last = {{"status", *status}};
}

}  // namespace plug::bench
