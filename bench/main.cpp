// plug-bench: the platform's side of the link as a program.
#include <CLI/CLI.hpp>

#include "bench/console.h"
#include "bench/perf.h"
#include "bench/platform_side.h"
#include "bench/sandbox.h"
#include "bench/script.h"

namespace plug::bench {
namespace {

struct Choices {
    PlatformOptions platform;
    PerfOptions perf;
    std::string script;
    bool json = false;
    bool verbose = false;
    bool sandbox = false;
};

int Serve(const Choices& choices, const std::function<bool(Interpreter&, PlatformSide&, Platform&)>& run) {
    Output output(choices.json);
    Interpreter interpreter(output);
    Platform platform(choices.platform);
    PlatformSide side(platform, interpreter, choices.verbose);
    return run(interpreter, side, platform) ? 0 : 1;
}

bool Converse(Interpreter& interpreter, PlatformSide& side, Platform& platform) {
    const std::string& address = platform.options().listen;
    const Json ports = {{"listening", address},
                        {"register_port", platform.register_port()},
                        {"login_port", platform.login_port()}};
    interpreter.output().Show(
        ports, "Agents register at " + address + " port " + std::to_string(platform.register_port()) +
                   " (login port " + std::to_string(platform.login_port()) + "). help lists the commands.");
    RunConsole(interpreter, platform.log().notice(), [&side] { side.ShowNews(); });
    return true;
}

int Main(int argc, char** argv) {
    Choices choices;
    choices.platform.register_port = 6039;
    choices.platform.login_port = 6040;
    CLI::App app(
        "The platform's side of the plug-in agent's link: a console, a script runner and a benchmark.");
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
    CLI::App* const perf = app.add_subcommand("perf", "measure the agent: answers, start and idle cost");
    perf->add_option("--idle-seconds", choices.perf.idle_seconds, "how long to watch it idle")
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    PrepareCipher();
    if (choices.sandbox || (perf->parsed() && geteuid() == 0)) EnterSandbox();
    if (perf->parsed()) {
        Output output(choices.json);
        return MeasureAgent(choices.perf, output);
    }
    if (run->parsed())
        return Serve(choices, [&](Interpreter& interpreter, PlatformSide& side, Platform&) {
            const bool held = RunScript(interpreter, choices.script);
            side.ShowNews();
            return held;
        });
    return Serve(choices, Converse);
}

}  // namespace
}  // namespace plug::bench

int main(int argc, char** argv) try {
    return plug::bench::Main(argc, argv);
} catch (const std::exception& error) {
    fprintf(stderr, "plug-bench: %s\n", error.what());
    return 2;
}
