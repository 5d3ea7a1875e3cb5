#include "bench/web/page.h"

#include <poll.h>

#include <csignal>
#include <ctime>

#include "bench/interruption.h"
#include "bench/router_state.h"
#include "bench/web/command_list.h"
#include "core/paths.h"
#include "sdk/simulator/shared_file.h"

namespace plug::bench {
namespace {

constexpr Milliseconds kLook{250};  // how often the state is looked at

const PollFlag* told_to_end = nullptr;  // what the signal handler sets

void EndAtSignals(const PollFlag& flag) {
    told_to_end = &flag;
    struct sigaction action {};
    action.sa_handler = [](int) {
        told_to_end->Set();
        Interrupt();
    };
    action.sa_flags = static_cast<int>(SA_RESETHAND);  // the second one ends it at once
    for (const int number : {SIGINT, SIGTERM}) sigaction(number, &action, nullptr);
}

/// What came unasked; all else that is shown while a command runs is its answer.
bool IsNews(const Json& shown) {
    return shown.contains("event") || shown.contains("peer") || shown.contains("home");
}

Json AgentRow(const AgentInfo& agent) {
    return {{"mac", MacText(agent.mac)}, {"serial", agent.serial},
            {"pin", agent.pin},          {"logged_in", agent.logged_in},
            {"peer", agent.peer},        {"registrations", agent.registrations},
            {"logins", agent.logins},    {"heartbeats", agent.heartbeats}};
}

/// The bench's own weekday, Monday 1, and minute of the day: the agent goes by the same clock.
Json LocalClock() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return {{"day", local.tm_wday == 0 ? 7 : local.tm_wday}, {"minute", local.tm_hour * 60 + local.tm_min}};
}

}  // namespace

Page::Page(Interpreter& interpreter, Platform& platform, const PlatformSide& side, const RouterSide& router,
           LocalPeer& peer, Feed& feed)
    : interpreter_(interpreter),
      platform_(platform),
      side_(side),
      router_side_(router),
      peer_(peer),
      feed_(feed) {
    interpreter_.output().instead = [](const Json&, const std::string&) {
    };  // the pages are told of the frames as they pass
    NoteOwn();
    follower_ = std::thread([this] { FollowState(); });
}

Page::~Page() {
    stopping_ = true;
    follower_.join();
}

// --- lines ---

void Page::Run(PageServer& server) {
    const InterruptGuard interruptible(InterruptGuard::Signal::kAsBefore);
    const PollFlag ended;
    EndAtSignals(ended);
    server.Serve(feed_, {.commands = [commands = CommandList(interpreter_)] { return commands; },
                         .run = [this](const std::string& line) { return OrderLine(line); },
                         .cancel = [this](const std::string& line) { return Cancel(line); }});
    pollfd end = {ended.descriptor(), POLLIN, 0};
    while (!interpreter_.done() && poll(&end, 1, 0) == 0) {
        interpreter_.AwaitNews(static_cast<int>(kLook.count()), ordered_.descriptor());
        ordered_.Clear();
        std::deque<Order> orders;
        {
            const std::lock_guard guard(mutex_);
            orders.swap(orders_);
        }
        for (Order& order : orders) CarryOut(order);
        NoteOwn();
    }
    feed_.Close();
    {
        const std::lock_guard guard(mutex_);
        ended_ = true;
        orders_.clear();
    }
    server.Stop();
}

Json Page::OrderLine(const std::string& line) {
    std::future<Json> outcome;
    {
        const std::lock_guard guard(mutex_);
        if (ended_) return {{"line", line}, {"failed", "the bench has ended"}};
        orders_.push_back({line, {}});
        outcome = orders_.back().outcome.get_future();
    }
    ordered_.Set();
    return outcome.get();
}

/// Only of the line that still runs, so that a click that comes late does not end the next one.
Json Page::Cancel(const std::string& line) {
    const std::lock_guard guard(mutex_);
    const bool runs = busy_ == line;
    if (runs) Interrupt();
    return {{"cancelled", runs}};
}

void Page::CarryOut(Order& order) {
    {
        const std::lock_guard guard(mutex_);
        busy_ = order.line;
    }
    Json outcome = Execute(order.line);
    {
        const std::lock_guard guard(mutex_);
        busy_ = nullptr;
    }
    TakeInterruption();  // which came when the command ended by itself
    NoteOwn();
    feed_.Tell("ran", outcome);
    order.outcome.set_value(std::move(outcome));
}

Json Page::Execute(const std::string& line) {
    Json answers = Json::array();
    interpreter_.output().instead = [&](const Json& shown, const std::string&) {
        if (!IsNews(shown)) answers.push_back(shown);
    };
    const Json before = interpreter_.last;
    Json outcome = {{"line", line}};
    try {
        interpreter_.Execute(line);
    } catch (const CommandError& failure) {
        outcome["failed"] = failure.what();
    }
    interpreter_.output().instead = [](const Json&, const std::string&) {};
    // What a command waited for is learned, but is news when it is shown.
    const bool asked = !answers.empty() && answers.back().contains("answer");
    const Json& shown = answers.empty() ? before : answers.back();
    if (interpreter_.last != shown && (asked || interpreter_.last != before))
        answers.push_back(interpreter_.last);
    outcome["answers"] = std::move(answers);
    return outcome;
}

// --- what the pages are told ---

void Page::NoteOwn() {
    Process* const agent = side_.agent();
    Json process = nullptr;
    if (agent != nullptr) {
        const auto status = agent->WaitExit(Milliseconds(0));
        process = {{"running", !status}, {"exit", status ? Json(*status) : Json()}};
    }
    Json own = {{"process", process}, {"windows", side_.windows()}, {"prompt", interpreter_.prompt()}};
    const std::lock_guard guard(mutex_);
    own_ = std::move(own);
}

void Page::FollowState() {
    Cursor cursor = platform_.FromNow();
    while (!stopping_) {
        feed_.SetState(State());
        // Sooner when something comes.
        if (cursor.Next(kLook))
            while (cursor.Next(Milliseconds(0))) {
            }
    }
}

Json Page::State() {
    Json state;
    {
        const std::lock_guard guard(mutex_);
        state = own_;
        state["busy"] = busy_;
    }
    state["agents"] = Json::array();
    for (const AgentInfo& agent : platform_.Agents()) state["agents"].push_back(AgentRow(agent));
    if (!state["process"].is_null()) state["status"] = ReadFile(kStatusPath).substr(0, 3);
    state["router"] = Router();
    state["home"] = router_side_.home_lives();
    state["peer"] = peer_.connected();
    state["clock"] = LocalClock();
    state["download"] = {{"sent", side_.download().sent.load()}, {"size", side_.download().size.load()}};
    const Behaviour behaviour = platform_.behaviour();
    state["platform"] = {{"listen", platform_.options().listen},
                         {"register_port", platform_.register_port()},
                         {"login_port", platform_.login_port()},
                         {"interval", behaviour.interval}};
    return state;
}

Json Page::Router() {
    std::string text = ReadFile(simulator::StatePath());
    if (text == router_text_) return router_;
    const Json home = Json::parse(text, nullptr, false);
    router_text_ = std::move(text);
    router_ = nullptr;
    if (!home.is_object()) return router_;
    for (const char* key : {"router", "lan", "switches", "devices"})
        if (home.contains(key)) router_[key] = home[key];
    return router_;
}

}  // namespace plug::bench
