// Trials of the agent against a C library that fails: every place that calls a function, each of its
// failures, at the first call, at each call, and at one in the middle. A session without a fault finds the
// places; then each trial is a process of its own.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <mutex>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "bench/layout.h"
#include "bench/process.h"
#include "faults/session.h"

namespace plug::faults {
namespace {

using namespace plug::bench;  // NOLINT: written in its words

constexpr Milliseconds kTrialTime{300'000};
constexpr std::size_t kEndings = 4;

struct Trial {
    Fault fault;
    std::string words;  // "connect ENETUNREACH always"
    std::string place;  // with file and line
};

struct Outcome {
    Ending ending = Ending::kBad;
    std::string note;
};

std::string FramesText(const Frames& frames) {
    std::ostringstream text;
    for (std::size_t i = 0; i < kFrames && frames[i] != 0; ++i)
        text << (i > 0 ? "." : "") << std::hex << frames[i];
    return text.str();
}

Frames ParseFrames(const std::string& text) {
    Frames frames{};
    std::istringstream parts(text);
    std::string part;
    for (std::size_t i = 0; i < kFrames && std::getline(parts, part, '.'); ++i)
        frames[i] = static_cast<std::uint32_t>(std::stoul(part, nullptr, 16));
    return frames;
}

std::string FailureName(const Failure& failure) {
    const int error = failure.error != 0 ? failure.error : static_cast<int>(failure.result);
    const char* const name = error > 1 ? strerrorname_np(error) : nullptr;
    return name != nullptr ? name : std::to_string(failure.result);
}

// --- one session, in this process ---

Json ToJson(const Result& result) {
    Json places = Json::array();
    for (const Place& place : result.places) {
        Json failures = Json::array();
        for (const Failure& failure : place.failures)
            if ((failure.kind & kUsed) != 0)
                failures.push_back({FailureName(failure), (failure.kind & kPasses) == 0});
        places.push_back({place.function.data(), FramesText(place.frames), place.calls, failures});
    }
    return {{"ending", static_cast<int>(result.ending)},
            {"note", result.note},
            {"descriptors", result.holdings.descriptors},
            {"threads", result.holdings.threads},
            {"places", places}};
}

/// Runs the session that was ordered and prints it as the last line. The exit status.
int RunOne(const Fault& fault, const Holdings& usual, bool verbose) {
    const Result result = RunSession(fault, usual);
    if (verbose || result.ending == Ending::kBad) std::cout << result.log << "\n";
    Json shown = ToJson(result);
    if (!fault.function.empty()) shown.erase("places");
    std::cout << shown.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
    return result.ending == Ending::kBad ? 1 : 0;
}

// --- sessions as processes ---

std::vector<std::string> Command(const Fault& fault, const Holdings& usual) {
    std::vector<std::string> command{"/proc/self/exe", "--trial",
                                     fault.script == Script::kService ? "service" : "update"};
    if (!fault.function.empty()) {
        command.push_back(fault.function);
        command.push_back(FramesText(fault.frames));
        command.push_back(std::to_string(fault.failure));
        command.push_back(fault.lasting ? "always" : std::to_string(fault.call));
    }
    command.insert(command.end(), {"--descriptors", std::to_string(usual.descriptors), "--threads",
                                   std::to_string(usual.threads)});
    return command;
}

/// The whole output of a command, however long the machine takes to hand it over.
std::string OutputOf(const std::vector<std::string>& command) {
    Process process({command, {}, "", true});
    if (!process.WaitExit(kTrialTime)) throw std::runtime_error("no end of " + command[0]);
    process.WaitForEnd(Milliseconds(5000));
    return process.Output();
}

/// What a session printed last; the rest goes into `log`.
Json RunProcess(const std::vector<std::string>& command, std::string& log) {
    try {
        log = OutputOf(command);
        const std::size_t last = log.rfind('\n', log.size() - 2);
        return Json::parse(log.substr(last == std::string::npos ? 0 : last + 1));
    } catch (const std::exception& failed) {
        return {{"ending", static_cast<int>(Ending::kBad)}, {"note", failed.what()}};
    }
}

/// File and line of addresses in the agent.
class Lines {
  public:
    explicit Lines(const std::set<std::uint32_t>& addresses) {
        std::vector<std::string> command{"addr2line", "-s", "-e", ProgramFolder() + "/plug"};
        for (const std::uint32_t address : addresses) {
            std::ostringstream text;
            text << std::hex << address - 1;  // of the call, not behind it
            command.push_back(text.str());
        }
        std::istringstream lines(OutputOf(command));
        for (const std::uint32_t address : addresses) std::getline(lines, names_[address]);
    }
    std::string Of(const Frames& frames) const {
        std::string text;
        for (const std::uint32_t frame : frames) {
            if (frame == 0) break;
            const std::string& name = names_.at(frame);
            text += (text.empty() ? "" : " < ") + name.substr(0, name.find(" ("));
        }
        return text;
    }

  private:
    std::map<std::uint32_t, std::string> names_;
};

/// All trials of the places that a session has found and that are not in `seen`.
void AddTrials(const Json& session, Script script, std::set<std::string>& seen, std::vector<Trial>& trials) {
    for (const Json& place : session.at("places")) {
        const std::string function = place[0];
        const std::string frames = place[1];
        if (!seen.insert(function + " " + frames).second) continue;
        for (std::uint32_t failure = 0; failure < place[3].size(); ++failure) {
            const auto name = place[3][failure][0].get<std::string>();
            const bool lasts = place[3][failure][1];
            const auto add = [&](std::uint32_t call, bool lasting) {
                const std::string when = lasting ? " always" : " at call " + std::to_string(call);
                trials.push_back({{script, function, ParseFrames(frames), failure, call, lasting},
                                  function + " " + name + when,
                                  ""});
            };
            const auto calls = place[2].get<std::uint32_t>();
            add(1, false);
            if (lasts) add(1, true);
            if (calls > 2) add(calls / 2 + 1, false);
        }
    }
}

class Sweep {
  public:
    Sweep(unsigned jobs, std::string folder) : jobs_(jobs), folder_(std::move(folder)) {}

    /// Finds the places. False when a session without a fault fails.
    bool Discover() {
        std::set<std::string> seen;
        for (const Script script : {Script::kService, Script::kUpdate}) {
            std::string log;
            Fault none;
            none.script = script;
            const Json session = RunProcess(Command(none, {}), log);
            if (session.at("ending") == static_cast<int>(Ending::kBad)) {
                std::cout << log << "without a fault: " << session.at("note") << std::endl;
                return false;
            }
            if (script == Script::kService) usual_ = {session.at("descriptors"), session.at("threads")};
            AddTrials(session, script, seen, trials_);
        }
        std::set<std::uint32_t> addresses;
        for (const Trial& trial : trials_)
            for (const std::uint32_t frame : trial.fault.frames)
                if (frame != 0) addresses.insert(frame);
        // What fails later than at the first call comes last.
        std::ranges::stable_sort(trials_, {}, [](const Trial& trial) { return trial.fault.call > 1; });
        const Lines lines(addresses);
        for (Trial& trial : trials_) trial.place = lines.Of(trial.fault.frames);
        std::cout << seen.size() << " places, " << trials_.size() << " trials" << std::endl;
        return true;
    }

    /// Keeps the trials of one function.
    void Only(const std::string& function) {
        std::erase_if(trials_, [&](const Trial& trial) { return trial.fault.function != function; });
    }

    /// Keeps `count` of them by chance, of each function in turn.
    void Sample(std::size_t count, unsigned seed) {
        std::shuffle(trials_.begin(), trials_.end(), std::mt19937(seed));
        std::map<std::string, int> turns;
        std::vector<std::pair<int, Trial>> ordered;
        for (const Trial& trial : trials_) ordered.emplace_back(turns[trial.fault.function]++, trial);
        std::ranges::stable_sort(ordered, {}, &std::pair<int, Trial>::first);
        ordered.resize(std::min(count, ordered.size()));
        trials_.clear();
        for (const auto& [turn, trial] : ordered) trials_.push_back(trial);
    }

    /// Runs them, none that would begin after `time`.
    void Run(std::chrono::seconds time) {
        const auto end = std::chrono::steady_clock::now() + time;
        std::vector<std::thread> workers;
        for (unsigned i = 0; i < jobs_; ++i)
            workers.emplace_back([&] {
                while (std::chrono::steady_clock::now() < end) {
                    const std::size_t next = next_++;
                    if (next >= trials_.size()) return;
                    RunTrial(trials_[next]);
                }
            });
        for (std::thread& worker : workers) worker.join();
    }

    /// Prints the table. The exit status.
    int Report() const {
        std::array<int, kEndings> all{};
        std::cout << "\n| function | places | answered | ended itself | not reached | bad |\n"
                  << "|---|---|---|---|---|---|\n";
        for (const auto& [function, row] : rows_) {
            std::cout << "| `" << function << "` | " << row.places.size();
            for (const Ending ending : {Ending::kAnswered, Ending::kEnded, Ending::kUnseen, Ending::kBad}) {
                const int count = row.endings[static_cast<std::size_t>(ending)];
                all[static_cast<std::size_t>(ending)] += count;
                std::cout << " | " << count;
            }
            std::cout << " |\n";
        }
        std::cout << "| all |  | " << all[0] << " | " << all[1] << " | " << all[2] << " | " << all[3]
                  << " |\n";
        std::cout << std::accumulate(all.begin(), all.end(), 0) << " of " << trials_.size() << " trials ran"
                  << std::endl;
        return all[static_cast<std::size_t>(Ending::kBad)] == 0 ? 0 : 1;
    }

  private:
    struct Row {
        std::set<std::string> places;
        std::array<int, kEndings> endings{};
    };

    void RunTrial(const Trial& trial) {
        std::string log;
        std::vector<std::string> command = Command(trial.fault, usual_);
        const Json outcome = RunProcess(command, log);
        const auto ending = static_cast<Ending>(outcome.at("ending").get<int>());
        const std::lock_guard guard(mutex_);
        Row& row = rows_[trial.fault.function];
        row.places.insert(trial.place);
        ++row.endings[static_cast<std::size_t>(ending)];
        const char* const words[] = {"answered", "ended itself", "not reached", "BAD"};
        std::cout << words[static_cast<std::size_t>(ending)] << ": " << trial.words << " at " << trial.place
                  << ": " << outcome.at("note").get<std::string>() << std::endl;
        if (ending != Ending::kBad) return;
        const std::string file = folder_ + "/" + std::to_string(++bad_) + ".log";
        WriteFile(file, log);
        command[0] = ProgramFolder() + "/fault_trials";
        for (const std::string& word : command) std::cout << word << " ";
        std::cout << "    # log: " << file << std::endl;
    }

    const unsigned jobs_;
    const std::string folder_;
    Holdings usual_;
    std::vector<Trial> trials_;
    std::atomic<std::size_t> next_{0};
    std::mutex mutex_;  // guards what follows, and the output
    std::map<std::string, Row> rows_;
    int bad_ = 0;
};

Fault ParseFault(const std::vector<std::string>& words) {
    Fault fault;
    fault.script = words.at(0) == "update" ? Script::kUpdate : Script::kService;
    if (words.size() == 1) return fault;
    fault.function = words.at(1);
    fault.frames = ParseFrames(words.at(2));
    fault.failure = static_cast<std::uint32_t>(std::stoul(words.at(3)));
    fault.lasting = words.at(4) == "always";
    if (!fault.lasting) fault.call = static_cast<std::uint32_t>(std::stoul(words.at(4)));
    return fault;
}

int Main(int argc, char** argv) {
    CLI::App app("Trials of the agent against a C library that fails.");
    std::vector<std::string> trial;
    Holdings usual;
    bool verbose = false;
    unsigned jobs = 2 * std::thread::hardware_concurrency();
    long seconds = 3600;
    std::size_t sample = 0;
    unsigned seed = 1;
    std::string only;
    app.add_option("--trial", trial, "one: service|update [function frames failure always|<call>]")
        ->expected(1, 5);
    app.add_option("--descriptors", usual.descriptors, "what a session without a fault has open");
    app.add_option("--threads", usual.threads, "its threads");
    app.add_flag("-v", verbose, "prints the agent's log");
    app.add_option("--jobs", jobs, "trials at a time");
    app.add_option("--seconds", seconds, "no trial begins later");
    app.add_option("--sample", sample, "that many, by chance");
    app.add_option("--seed", seed, "of the chance");
    app.add_option("--function", only, "one function's trials only");
    CLI11_PARSE(app, argc, argv);
    if (!trial.empty()) return RunOne(ParseFault(trial), usual, verbose);

    const std::string folder = ProgramFolder() + "/trials";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    Sweep sweep(jobs, folder);
    if (!sweep.Discover()) return 1;
    if (!only.empty()) sweep.Only(only);
    if (sample > 0) sweep.Sample(sample, seed);
    sweep.Run(std::chrono::seconds(seconds));
    return sweep.Report();
}

}  // namespace
}  // namespace plug::faults

int main(int argc, char** argv) {
    return plug::faults::Main(argc, argv);
}
