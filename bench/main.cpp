// plug-bench: the platform's side of the link, and the local peer's side, as a program.
#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>

#include "bench/capture.h"
#include "bench/console.h"
#include "bench/dissector.h"
#include "bench/fleet.h"
#include "bench/frame_watch.h"
#include "bench/interruption.h"
#include "bench/peer_side.h"
#include "bench/perf.h"
#include "bench/platform_side.h"
#include "bench/reference.h"
#include "bench/router_commands.h"
#include "bench/sandbox.h"
#include "bench/script.h"
#include "bench/soak.h"
#include "bench/spread.h"
#include "bench/storm.h"
#include "bench/web/frame_report.h"
#include "bench/web/page.h"

namespace plug::bench {
namespace {

/// Shows, captures and reports what passes, as chosen.
class Watchers {
  public:
    void Show(const CipherKey& key) { watch_.emplace(key); }
    void CaptureTo(const std::string& file) { capture_.emplace(file); }
    void ReportTo(Feed& feed, const CipherKey& key) { report_.emplace(key, feed); }
    Tap tap() {
        if (!capture_ && !watch_ && !report_) return {};
        return [this](const Passed& passed) {
            if (capture_) capture_->Note(passed);
            if (watch_) watch_->Note(passed);
            if (report_) report_->Note(passed);
        };
    }
    void Attach(Interpreter& interpreter, Output& output) {
        if (watch_) watch_->Attach(interpreter, output);
    }

  private:
    std::optional<Capture> capture_;
    std::optional<FrameWatch> watch_;
    std::optional<FrameReport> report_;
};

struct Choices;
using Mode = int (*)(const Choices& choices, Output& output);

struct Choices {
    PlatformOptions platform;
    PeerOptions peer;
    PerfOptions perf;
    SoakOptions soak;
    SpreadOptions spread;
    FleetOptions fleet;
    StormOptions storm;
    std::string script;
    std::string capture;
    bool frames = false;
    std::uint16_t page_port = 8090;
    std::uint32_t seed = 1;
    double pace = 1;
    std::shared_ptr<PageServer> page;     // bound before the sandbox is entered
    std::shared_ptr<std::istream> lines;  // of the script; opened before the sandbox hides it
    bool json = false;
    bool verbose = false;
    bool sandbox = false;
    Watchers* watchers = nullptr;
    Mode mode = nullptr;
};

std::shared_ptr<std::istream> OpenScript(const std::string& path) {
    if (path == "-") return {&std::cin, [](std::istream*) {}};
    auto file = std::make_shared<std::ifstream>(path);
    if (!*file) throw std::runtime_error("cannot read " + path);
    return file;
}

/// The script, or the console when there is none. 0 when nothing failed.
int Converse(Interpreter& interpreter, const Choices& choices) {
    if (choices.script.empty()) {
        RunConsole(interpreter);
        return 0;
    }
    const bool held = RunScript(interpreter, choices.script, *choices.lines);
    interpreter.ShowNews();
    return held ? 0 : 1;
}

int ServeAgents(const Choices& choices, Output& output) {
    Interpreter interpreter(output);
    choices.watchers->Attach(interpreter, output);
    Platform platform(choices.platform);
    const PeerSide peer(interpreter, choices.peer, "peer");
    const PlatformSide side(platform, interpreter, choices.verbose);
    const RouterSide router(interpreter);
    if (choices.script.empty()) {
        const std::string& address = platform.options().listen;
        const Json ports = {{"listening", address},
                            {"register_port", platform.register_port()},
                            {"login_port", platform.login_port()}};
        output.Show(ports, "Agents register at " + address + " port " +
                               std::to_string(platform.register_port()) + " (login port " +
                               std::to_string(platform.login_port()) + "). help lists the commands.");
    }
    return Converse(interpreter, choices);
}

/// Only the local peer's side, of an agent that runs already.
int ServeAsPeer(const Choices& choices, Output& output) {
    PeerOptions options = choices.peer;
    // The agent may remember the sequence of an earlier bench's last frame; this one begins elsewhere.
    options.first_sequence = static_cast<std::uint32_t>(time(nullptr));
    Interpreter interpreter(output);
    choices.watchers->Attach(interpreter, output);
    interpreter.prompt = [] { return std::string("local peer> "); };
    const PeerSide peer(interpreter, options, "");
    if (choices.script.empty())
        output.Show({{"path", options.path}},
                    "start connects to the agent at " + options.path + ". help lists the commands.");
    return Converse(interpreter, choices);
}

int PrintDissector(const Choices& choices, Output&) {
    const PlatformOptions& platform = choices.platform;
    fputs(Dissector(platform.key, {platform.register_port, platform.login_port}).c_str(), stdout);
    return 0;
}

/// The console's commands and more in a browser.
int ServePage(const Choices& choices, Output& output) {
    const std::string url = "http://127.0.0.1:" + std::to_string(choices.page->port()) + "/";
    Feed feed;
    choices.watchers->ReportTo(feed, MakeKey(choices.platform.key));
    PlatformOptions platform_options = choices.platform;
    PeerOptions peer_options = choices.peer;
    platform_options.tap = peer_options.tap = choices.watchers->tap();
    Output answers(choices.json);  // which the page takes
    Interpreter interpreter(answers);
    choices.watchers->Attach(interpreter, output);
    Platform platform(platform_options);
    PeerSide peer(interpreter, peer_options, "peer");
    const PlatformSide side(platform, interpreter, choices.verbose);
    const RouterSide router(interpreter);
    output.Show({{"page", url}}, "The page is at " + url + ". It ends with ^C.");
    Page(interpreter, platform, side, router, peer.peer(), feed).Run(*choices.page);
    return 0;
}

/// Lets the simulated home live, until Ctrl-C.
int LetHomeLive(const Choices& choices, Output& output) {
    Interpreter interpreter(output);
    const RouterSide router(interpreter);
    interpreter.Execute("home on " + std::to_string(choices.seed) + " " + std::to_string(choices.pace));
    const InterruptGuard guard;
    while (router.home_lives() && !TakeInterruption()) interpreter.AwaitNews(-1);
    return router.home_lives() ? 0 : 1;
}

int ServeFleet(const Choices& choices, Output& output) {
    return RunFleet(choices.fleet, choices.platform, output);
}

void AddFleetOptions(CLI::App& fleet, FleetOptions& options) {
    fleet.add_option("-n,--agents", options.agents, "how many")->check(CLI::Range(1, 10'000));
    fleet.add_option("--first", options.first,
                     "number of the first one's identity: each machine its own range");
    fleet.add_option("-i,--start-interval", options.start_interval_ms, "milliseconds between two starts");
    fleet.add_option("--seconds", options.seconds, "how long the load takes");
    fleet.add_option("--rest-seconds", options.rest_seconds, "how long they are watched at rest before it");
    fleet.add_option("--rate", options.rate, "commands a second to the whole fleet");
    fleet.add_option("--share", options.share, "per cent of the agents that are loaded");
    fleet.add_option("--reports", options.reports, "reports a second of all local peers");
    fleet.add_option("--churn", options.churn, "devices a second that come or go");
    fleet.add_option("--lose", options.lose, "links a minute that are lost");
    CLI::Option* const server =
        fleet.add_option("--server", options.server, "a platform elsewhere, by its address or name");
    fleet.add_option("--port", options.port, "its port of registration")->needs(server);
    fleet.add_flag("--identities", options.identities, "only print MAC, serial number and PIN of each");
    fleet.add_option("--csv", options.csv, "write what happens in each second to a file");
    fleet.add_option("--storm", options.storm, "what happens to all at once, instead of rest and load")
        ->check(CLI::IsMember({"restart", "power", "names"}))
        ->excludes(server);
    fleet.add_option("--away", options.away,
                     "seconds that the platform (restart) or name server (names) is away");
    fleet.add_option("--spread", options.spread,
                     "PLUG_SPREAD of the supervisors in a storm; -1 leaves it to them");
}

void AddStormOptions(CLI::App& storm, StormOptions& options) {
    storm
        .add_option("kind", options.kind,
                    "of restart (the platform's), power (a town's) and names (the name server's)")
        ->required()
        ->check(CLI::IsMember({"restart", "power", "names"}));
    storm.add_option("--routers", options.routers, "how many");
    storm.add_option("--away", options.away, "seconds that the platform or the name server is away");
    storm.add_option("--spread", options.spread, "PLUG_SPREAD of the supervisors");
    storm.add_option("--standing", options.standing, "hours since the login, when the platform goes");
    storm.add_option("--csv", options.csv, "write what happens in each second to a file");
}

void AddOptions(CLI::App& app, Choices& choices) {
    PlatformOptions& platform = choices.platform;
    app.add_option("--listen", platform.listen, "address to listen on");
    app.add_option("--register-port", platform.register_port, "0 lets the system pick");
    app.add_option("--login-port", platform.login_port, "0 lets the system pick");
    app.add_option("--key", platform.key, "the agents' KEY");
    app.add_option("--pin", platform.pin, "refuse agents with another PIN");
    app.add_option("--interval", platform.behaviour.interval, "heartbeat seconds");
    app.add_flag("--json", choices.json, "print one JSON object for each event and answer");
    app.add_flag("--frames", choices.frames, "show every frame of both links, decoded");
    app.add_option("--capture", choices.capture, "write what passes over both links to a file for Wireshark");
    app.add_flag("--verbose", choices.verbose, "show every connection");
    app.add_flag("--sandbox", choices.sandbox,
                 "run in private mount and network namespaces with an empty /tmp");
    app.add_option("--local-path", choices.peer.path, "the agent's local socket");
}

/// The subcommands; without one, agents are served.
void AddModes(CLI::App& app, Choices& choices) {
    choices.mode = ServeAgents;
    const auto add = [&](const char* name, const char* help, Mode mode) {
        CLI::App* const subcommand = app.add_subcommand(name, help);
        subcommand->callback([&choices, mode] { choices.mode = mode; });
        return subcommand;
    };
    CLI::App* const run = add("run", "run the commands of a file (- is standard input)", ServeAgents);
    run->add_option("file", choices.script)->required();
    CLI::App* const web = add("web", "serve a page with all of it to a browser of this machine", ServePage);
    web->add_option("--port", choices.page_port, "the page's port on loopback; 0 lets the system pick");
    CLI::App* const peer = add("peer", "be only the local peer of a running agent", ServeAsPeer);
    peer->add_option("file", choices.script, "a file of commands instead of the console");
    CLI::App* const home = add("home", "let the simulated home live, beside an agent that runs", LetHomeLive);
    home->add_option("--seed", choices.seed, "of what happens: the same gives the same");
    home->add_option("--pace", choices.pace, "seconds of a step");
    CLI::App* const perf =
        add("perf", "measure the agent: answers, start and idle cost",
            [](const Choices& chosen, Output& output) { return MeasureAgent(chosen.perf, output); });
    perf->add_option("--idle-seconds", choices.perf.idle_seconds, "how long to watch it idle");
    CLI::App* const soak =
        add("soak", "load the agent from both sides at once",
            [](const Choices& chosen, Output& output) { return SoakAgent(chosen.soak, output); });
    soak->add_option("--seconds", choices.soak.seconds, "how long the load takes");
    soak->add_option("--rule-changes", choices.soak.rule_changes, "windows and limits set after it");
    CLI::App* const spread =
        add("spread", "how evenly the automatic reports of many routers fall over the day",
            [](const Choices& chosen, Output& output) { return ShowSpread(chosen.spread, output); });
    spread->add_option("--routers", choices.spread.routers, "how many");
    spread->add_option("--csv", choices.spread.csv, "write the reports of each ten minutes to a file");
    AddStormOptions(
        *add("storm", "how a great fleet comes back, computed from the given pauses",
             [](const Choices& chosen, Output& output) { return ShowStorm(chosen.storm, output); }),
        choices.storm);
    AddFleetOptions(*add("fleet", "run many agents at once, on this platform or another", ServeFleet),
                    choices.fleet);
    add("dissector", "print a dissector of both links for Wireshark, with this key and these ports",
        PrintDissector);
    CLI::App* const reference =
        add("reference", "print the reference of the function commands (docs/commands.md)",
            [](const Choices&, Output&) { return PrintReference({}); });
    reference->parse_complete_callback([&choices] { choices.sandbox = true; });
    for (CLI::App* const measuring : {perf, soak})
        measuring->parse_complete_callback([&choices] { choices.sandbox |= geteuid() == 0; });
}

int Main(int argc, char** argv) {
    Choices choices;
    choices.platform.register_port = 6039;
    choices.platform.login_port = 6040;
    CLI::App app("The other ends of the plug-in agent's links: a console, a script runner and a benchmark.");
    app.option_defaults()->always_capture_default();
    app.fallthrough();
    AddOptions(app, choices);
    AddModes(app, choices);
    CLI11_PARSE(app, argc, argv);

    PrepareCipher();
    Watchers watchers;
    choices.watchers = &watchers;
    if (choices.frames) watchers.Show(MakeKey(choices.platform.key));
    if (!choices.capture.empty()) watchers.CaptureTo(choices.capture);  // outside of a sandbox
    choices.platform.tap = choices.peer.tap = watchers.tap();
    if (choices.mode == ServePage) choices.page = std::make_shared<PageServer>(choices.page_port);
    if (!choices.script.empty()) choices.lines = OpenScript(choices.script);
    if (choices.sandbox) EnterSandbox();
    Output output(choices.json);
    return choices.mode(choices, output);
}

}  // namespace
}  // namespace plug::bench

int main(int argc, char** argv) try {
    return plug::bench::Main(argc, argv);
} catch (const std::exception& error) {
    fprintf(stderr, "plug-bench: %s\n", error.what());
    return 2;
}
