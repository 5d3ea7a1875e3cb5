// The agents: which are here, which of them commands go to, and what comes from them, shown as it comes.
#pragma once

#include <set>

#include "bench/interpreter.h"
#include "bench/platform.h"

namespace plug::bench {

class ProcessCommands;

class Agents {
  public:
    /// Registers its commands and becomes a part of the interpreter's news. With `verbose`, connections are
    /// shown too.
    Agents(Platform& platform, Interpreter& interpreter, ProcessCommands& process, bool verbose);

    /// The agent that commands go to: the chosen one, else the only one that is here. Throws CommandError.
    MacAddress Current() const;
    /// The next event behind the cursor that matches, which the cursor then stands behind. What comes is
    /// shown meanwhile, and the event is learned. Throws CommandError, with `what`, when it does not come.
    LinkEvent Await(Cursor& cursor, const std::string& what, const EventMatch& matches, Milliseconds timeout);
    /// Leaves an event out of the news: it is shown as an answer.
    void PassOver(const LinkEvent& event) { passed_over_.insert(event.number); }

  private:
    void ShowNews();
    void ShowEvent(const LinkEvent& event);
    void List(const Invocation& words);
    void Choose(const Invocation& words) { chosen_ = MacOf(words.word(1)); }
    void Behave(const Invocation& words);
    void Wait(const Invocation& words);

    Platform& platform_;
    Interpreter& interpreter_;
    ProcessCommands& process_;
    const bool verbose_;
    std::optional<MacAddress> chosen_;
    Cursor news_;    // behind what was shown
    Cursor waited_;  // behind what `wait` has seen
    std::set<std::uint64_t> passed_over_;
};

}  // namespace plug::bench
