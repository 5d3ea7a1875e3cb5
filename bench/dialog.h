// What the platform's commands share: requests to the current agent and its answers.
//
// Functions throw CommandError when the agent is not logged in or does not answer. What it answers is shown,
// and becomes what was learned.
#pragma once

#include "bench/agents.h"
#include "bench/decode.h"

namespace plug::bench {

class Dialog {
  public:
    /// A function command and what goes with it.
    struct Request {
        CommandForm form;
        ByteVector parameters;
        bool raw = false;  // by number; the answer is shown as bytes
    };
    /// Brings the frames of requests to an agent; false when it is not logged in.
    using Send = std::function<bool(const MacAddress& agent, ConstBytes frames)>;

    Dialog(Platform& platform, Interpreter& interpreter, Agents& agents)
        : platform_(platform), interpreter_(interpreter), agents_(agents) {}

    Platform& platform() { return platform_; }
    Interpreter& interpreter() { return interpreter_; }
    /// The agent that it is with.
    MacAddress Agent() const { return agents_.Current(); }
    /// Throws unless something was sent to it.
    static void Require(bool sent);

    // --- function commands ---
    /// By name, with values as ParameterForm shows them.
    static Request Make(const std::string& name, const std::vector<std::string>& values = {});
    /// As typed: also "call", and commands whose parameters not given are first read from the agent.
    Request Parse(const Invocation& words);
    /// Sends the requests in one write, unless told how, and shows the answers in order.
    void Exchange(const std::vector<Request>& requests, const Send& send = {});
    /// Exchanges one request and requires result 0.
    void Carry(const Request& request);
    /// Asks without showing the answer.
    LinkEvent Ask(const Request& request);
    /// Shows an answer, or that there is none.
    void ShowAnswer(const Request& request, const std::optional<LinkEvent>& answer);

    // --- plug data ---
    /// Sends plug data and shows the reply.
    void ExchangePlug(std::uint8_t data_type, std::string_view text);

    // --- waits ---
    /// Waits for an event of the agent as Agents::Await does.
    LinkEvent Await(Cursor& cursor, const std::string& what, const EventMatch& matches, Milliseconds timeout);

  private:
    LinkEvent AwaitAnswer(const Request& request, Cursor& cursor, std::uint16_t head);

    Platform& platform_;
    Interpreter& interpreter_;
    Agents& agents_;
};

/// An answer as DecodeAnswer gives it, for people.
std::string AnswerText(const Json& answer);

/// A command that works on the dialog.
using DialogCommand = TopicCommand<void (*)(Dialog& dialog, const Invocation& words)>;

}  // namespace plug::bench
