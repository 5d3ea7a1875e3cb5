// The console's commands for the platform's side: the function commands, plug data, mischief, waits and the
// agent.
#pragma once

#include <set>

#include "bench/agent_process.h"
#include "bench/decode.h"
#include "bench/http_server.h"
#include "bench/interpreter.h"

namespace plug::bench {

class PlatformSide {
  public:
    /// Registers its commands with the interpreter. With `verbose`, connections are shown too.
    PlatformSide(Platform& platform, Interpreter& interpreter, bool verbose);

  private:
    struct Request {
        CommandForm row;
        ByteVector parameters;
        bool raw = false;  // by number; the answer is shown as bytes
    };
    using Transform = std::function<ByteVector(ByteVector)>;

    void AddAgentCommands();
    void AddFunctionCommands();
    void AddMischief();
    void AddWaits();
    void AddProcessCommands();
    void AddDeviceCommands();
    void AddDiagnostics();
    void AddPlugCommands();

    MacAddress CurrentAgent() const;
    Request ParseRequest(const Invocation& words);
    /// Sends the requests' frames in one write, changed by `transform`, and shows the answers in order.
    void Exchange(const std::vector<Request>& requests, const Transform& transform = {});
    void AwaitAll(const std::vector<Request>& requests, const std::vector<std::uint16_t>& heads,
                  Cursor& cursor);
    LinkEvent Await(const Request& request, Cursor& cursor, std::uint16_t head);
    void ShowAnswer(const Request& request, const std::optional<LinkEvent>& answer);
    void SendPlug(const Invocation& words);
    void ExchangePlug(std::uint8_t data_type, std::string_view text);

    // --- procedures of several steps ---
    /// A request by the command's name, its values as ParameterForm shows them.
    static Request MakeRequest(const std::string& name, const std::vector<std::string>& values = {});
    /// Exchanges one request and requires result 0.
    void Carry(const Request& request);
    /// Asks without showing the answer.
    LinkEvent AskSilently(const Request& request);
    /// Waits for what follows a command, showing what comes; it becomes `last`.
    LinkEvent AwaitFollowing(Cursor& cursor, const std::string& what, const EventMatch& matches,
                             Milliseconds timeout);
    void Scan();
    void SetLimit(const Invocation& words);
    void SetWindow(const Invocation& words);
    void SendWindow(bool add, const Json& window);
    void Ping(const Invocation& words);
    void Traceroute(const Invocation& words);
    void MeasureRate(const Invocation& words);
    void Http(const Invocation& words);
    void SendPlugOrder(const struct PlugOrder& order, const std::vector<std::string>& words);
    void ForwardPort(const Invocation& words);

    void SendGlued(const Invocation& words);
    void SendSplit(const Invocation& words);
    void Behave(const Invocation& words);
    void Wait(const Invocation& words);
    void WaitForExit(Milliseconds timeout);
    void StartTheAgent(const Invocation& words);
    void ShowNews();
    void ShowAgents();
    void ShowEvent(const LinkEvent& event);
    void Require(bool sent) const;

    Platform& platform_;
    Interpreter& interpreter_;
    Output& output_;
    const bool verbose_;
    std::optional<MacAddress> chosen_;
    Cursor shown_;                         // what ShowNews printed
    std::set<std::uint64_t> shown_early_;  // events beyond it that were printed as answers
    Cursor waited_;                        // what `wait` consumed
    TemporaryFolder folder_;               // of the agent's files
    std::unique_ptr<Process> agent_;
    Json windows_ = Json::array();  // the access windows that were set here
    std::unique_ptr<HttpServer> http_;
};

}  // namespace plug::bench
