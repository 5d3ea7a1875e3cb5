// The agent that is started here, at command.
#pragma once

#include "bench/agent_process.h"
#include "bench/interpreter.h"

namespace plug::bench {

class ProcessCommands {
  public:
    /// Agents register at `platform`. Names their router's state file to the environment, for `shell`.
    ProcessCommands(const Platform& platform, Interpreter& interpreter);

    /// The agent that was started last, or nullptr.
    Process* agent() const { return agent_.get(); }
    /// Waits until the agent has ended, showing what comes; its status is learned.
    void WaitForExit(Milliseconds timeout);

  private:
    void Start(const Invocation& words);
    void Stop(const Invocation& words);
    void ShowLog(const Invocation& words);
    Process& Started() const;

    const Platform& platform_;
    Interpreter& interpreter_;
    TemporaryFolder folder_;  // of the agent's files
    std::unique_ptr<Process> agent_;
};

}  // namespace plug::bench
