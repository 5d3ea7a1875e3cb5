// The agent that start-agent starts: its process, its log and its end.
#pragma once

#include "bench/agent_process.h"
#include "bench/interpreter.h"

namespace plug::bench {

class ProcessCommands {
  public:
    /// Agents register at `platform`. Names their router's state file to the environment, for `shell`. How an
    /// agent ends becomes a part of the interpreter's news.
    ProcessCommands(const Platform& platform, Interpreter& interpreter);

    /// The agent that was started last, or nullptr.
    Process* agent() const { return agent_.get(); }
    /// Waits until the agent has ended, showing what comes; its status is learned.
    void WaitForExit(Milliseconds timeout);

  private:
    void Start(const Invocation& words);
    void Stop(const Invocation& words);
    void ShowLog(const Invocation& words);
    void ShowEnd();
    Process& Started() const;

    const Platform& platform_;
    Interpreter& interpreter_;
    TemporaryFolder folder_;  // of the agent's files
    std::unique_ptr<Process> agent_;
    bool told_ = true;  // how it ended
};

}  // namespace plug::bench
