// plug-bench: the platform's side of the link, and the local mesh/Wi-Fi agent's side, as a program.
#include <CLI/CLI.hpp>

#include "bench/console.h"
#include "bench/peer_side.h"
#include "bench/perf.h"
#include "bench/platform_side.h"
#include "bench/router_commands.h"
#include "bench/sandbox.h"
#include "bench/script.h"
#include "bench/soak.h"
#include "bench/spread.h"

namespace plug::bench {
namespace {

struct Choices {
    PlatformOptions platform;
    PeerOptions peer;
    PerfOptions perf;
    SoakOptions soak;
    SpreadOptions spread;
    std::string script;
    bool json = false;
    bool verbose = false;
    bool sandbox = false;
};

/// The script, or the console when there is none. 0 when nothing failed.
int Converse(Interpreter& interpreter, const std::string& script) {
    if (script.empty()) {
        RunConsole(interpreter);
        return 0;
    }
    const bool held = RunScript(interpreter, script);
    interpreter.ShowNews();
    return held ? 0 : 1;
}

int ServeAgents(const Choices& choices) {
    Output output(choices.json);
    Interpreter interpreter(output);
    Platform platform(choices.platform);
    const PeerSide peer(interpreter, choices.peer, "peer");
    const PlatformSide side(platform, interpreter, choices.verbose);
    AddRouterCommands(interpreter);
    if (choices.script.empty()) {
        const std::string& address = platform.options().listen;
        const Json ports = {{"listening", address},
                            {"register_port", platform.register_port()},
                            {"login_port", platform.login_port()}};
        output.Show(ports, "Agents register at " + address + " port " +
                               std::to_string(platform.register_port()) + " (login port " +
                               std::to_string(platform.login_port()) + "). help lists the commands.");
    }
    return Converse(interpreter, choices.script);
}

/// Only the local mesh/Wi-Fi agent's side, of an agent that runs already.
int ServeAsPeer(const Choices& choices) {
    PeerOptions options = choices.peer;
    // The agent may remember the sequence of an earlier bench's last frame; this one begins elsewhere.
    options.first_sequence = static_cast<std::uint32_t>(time(nullptr));
    Output output(choices.json);
    Interpreter interpreter(output);
    interpreter.prompt = [] { return std::string("local agent> "); };
    const PeerSide peer(interpreter, options, "");
    if (choices.script.empty())
        output.Show({{"path", options.path}},
                    "start connects to the agent at " + options.path + ". help lists the commands.");
    return Converse(interpreter, choices.script);
}

int Main(int argc, char** argv) {
    Choices choices;
    choices.platform.register_port = 6039;
    choices.platform.login_port = 6040;
    CLI::App app("The other ends of the plug-in agent's links: a console, a script runner and a benchmark.");
    app.add_option("--listen", choices.platform.listen, "address to listen on")->capture_default_str();
    app.add_option("--register-port", choices.platform.register_port, "0 lets the system pick")
        ->capture_default_str();
    app.add_option("--login-port", choices.platform.login_port, "0 lets the system pick")
        ->capture_default_str();
    app.add_option("--key", choices.platform.key, "the agents' KEY")->capture_default_str();
    app.add_option("--pin", choices.platform.pin, "refuse agents with another PIN");
    app.add_option("--interval", choices.platform.behaviour.interval, "heartbeat seconds")
        ->capture_default_str();
    app.add_flag("--json", choices.json, "print one JSON object for each event and answer");
    app.add_flag("--verbose", choices.verbose, "show every connection");
    app.add_flag("--sandbox", choices.sandbox,
                 "run in private mount and network namespaces with an empty /tmp");
    app.fallthrough();
    CLI::App* const run = app.add_subcommand("run", "run the commands of a file (- is standard input)");
    run->add_option("file", choices.script)->required();
    CLI::App* const peer =
        app.add_subcommand("peer", "be only the local mesh/Wi-Fi agent of a running agent");
    peer->add_option("file", choices.script, "a file of commands instead of the console");
    app.add_option("--local-path", choices.peer.path, "the agent's local socket")->capture_default_str();
    CLI::App* const perf = app.add_subcommand("perf", "measure the agent: answers, start and idle cost");
    perf->add_option("--idle-seconds", choices.perf.idle_seconds, "how long to watch it idle")
        ->capture_default_str();
    CLI::App* const soak = app.add_subcommand("soak", "load the agent from both sides at once");
    soak->add_option("--seconds", choices.soak.seconds, "how long the load takes")->capture_default_str();
    soak->add_option("--rule-changes", choices.soak.rule_changes, "windows and limits set after it")
        ->capture_default_str();
    CLI::App* const spread =
        app.add_subcommand("spread", "how evenly the automatic reports of many routers fall over the day");
    spread->add_option("--routers", choices.spread.routers, "how many")->capture_default_str();
    spread->add_option("--svg", choices.spread.svg, "write a plot to this file");
    CLI11_PARSE(app, argc, argv);

    PrepareCipher();
    if (choices.sandbox || ((perf->parsed() || soak->parsed()) && geteuid() == 0)) EnterSandbox();
    if (perf->parsed()) {
        Output output(choices.json);
        return MeasureAgent(choices.perf, output);
    }
    if (soak->parsed() || spread->parsed()) {
        Output output(choices.json);
        return soak->parsed() ? SoakAgent(choices.soak, output) : ShowSpread(choices.spread, output);
    }
    return peer->parsed() ? ServeAsPeer(choices) : ServeAgents(choices);
}

}  // namespace
}  // namespace plug::bench

int main(int argc, char** argv) try {
    return plug::bench::Main(argc, argv);
} catch (const std::exception& error) {
    fprintf(stderr, "plug-bench: %s\n", error.what());
    return 2;
}
