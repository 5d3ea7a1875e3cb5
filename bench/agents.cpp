#include "bench/agents.h"

#include <charconv>

#include "bench/decode.h"
#include "bench/process_commands.h"
#include "bench/router_state.h"
#include "bench/text.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

/// The device of an online report; null for any other event.
Json OnlineDevice(const Json& shown) {
    return shown.value("name", "") == "online" && shown.contains("fields") ? shown["fields"]["entries"][0]
                                                                           : Json();
}

/// What an event says, behind its time and agent.
std::string Sentence(const LinkEvent& event, const Json& shown) {
    const std::string server = Name(event.server);
    switch (event.kind) {
        case EventKind::kConnected:
            return "connected to the " + server + " server from " + event.peer;
        case EventKind::kRegister:
            return "registers: serial " + event.serial + ", PIN " + event.pin;
        case EventKind::kLogin:
            return "logs in";
        case EventKind::kHeartbeat:
            return "heartbeat";
        case EventKind::kReport:
            if (const Json device = OnlineDevice(shown); device.is_object())
                return "device online: " + device.value("mac", "") + " " + device.value("name", "");
            return "report " + std::to_string(event.data_type) + " " + shown.value("name", "");
        case EventKind::kReply:
            return "reply with code " + std::to_string(event.code) + " " + shown.value("name", "");
        case EventKind::kBadFrame:
            return "BAD FRAME: " + shown.value("bytes", "");
        case EventKind::kClosed:
            return server + " connection closed";
    }
    return "";
}

bool Routine(const LinkEvent& event) {
    return event.kind == EventKind::kConnected ||
           (event.kind == EventKind::kClosed && event.server == Server::kRegistration);
}

constexpr std::pair<const char*, Ack> kAcks[] = {{"accept", Ack::kAccept},
                                                 {"silent", Ack::kSilent},
                                                 {"empty", Ack::kEmptyBody},
                                                 {"refuse", Ack::kRefuse},
                                                 {"close", Ack::kClose}};

Ack AckOf(const std::string& text) {
    for (const auto& [name, ack] : kAcks)
        if (text == name) return ack;
    throw CommandError("an ack is accept, silent, empty, refuse or close, not " + text);
}

const char* Name(Ack ack) {
    return kAcks[static_cast<std::size_t>(ack)].first;
}

bool SwitchOf(const std::string& setting, const std::string& value) {
    if (value != "on" && value != "off") throw CommandError(setting + " is on or off, not \"" + value + "\"");
    return value == "on";
}

/// Changes what `behave` was told. False when there is no such setting.
bool Change(Behaviour& behaviour, Platform& platform, const std::string& setting, const std::string& value) {
    if (setting == "interval")
        behaviour.interval = ParseNumber<std::uint16_t>(value);
    else if (setting == "heartbeats")
        behaviour.answer_heartbeats = SwitchOf(setting, value);
    else if (setting == "register")
        behaviour.register_ack = AckOf(value);
    else if (setting == "login")
        behaviour.login_ack = AckOf(value);
    else if (setting == "delay")
        behaviour.ack_delay = ParseSeconds(value);
    else if (setting == "listen")
        for (const Server server : {Server::kRegistration, Server::kLogin})
            SwitchOf(setting, value) ? platform.OpenListener(server) : platform.CloseListener(server);
    else
        return false;
    return true;
}

constexpr char kSettings[] =
    "interval= heartbeats=on heartbeats=off register=accept register=silent register=empty register=refuse "
    "register=close login=accept login=silent login=empty login=refuse login=close delay= listen=on "
    "listen=off";

using Awaited = std::pair<std::string_view, EventKind>;
constexpr Awaited kAwaited[] = {{"registered", EventKind::kRegister}, {"logged-in", EventKind::kLogin},
                                {"heartbeat", EventKind::kHeartbeat}, {"report", EventKind::kReport},
                                {"reply", EventKind::kReply},         {"closed", EventKind::kClosed},
                                {"bad-frame", EventKind::kBadFrame}};

/// The type of report that `wait report` names; none for any.
std::optional<std::uint8_t> ReportType(const std::string& text) {
    if (text == "any") return {};
    if (const ReportForm* const report = Find(ReportForms(), text); report != nullptr) return report->id;
    std::uint64_t number = 256;
    std::from_chars(text.data(), text.data() + text.size(), number);
    if (number <= 255) return static_cast<std::uint8_t>(number);
    throw CommandError("\"" + text +
                       "\" was taken for the type of report, which is a name or a number up to 255; " +
                       "to wait for any report: wait report any <seconds>");
}

}  // namespace

Agents::Agents(Platform& platform, Interpreter& interpreter, ProcessCommands& process, bool verbose)
    : platform_(platform),
      interpreter_(interpreter),
      process_(process),
      verbose_(verbose),
      news_(platform.FromStart()),
      waited_(platform.FromStart()) {
    static constexpr TopicCommand<void (Agents::*)(const Invocation&)> kCommands[] = {
        {"agents", "", "lists the agents seen", 0, &Agents::List},
        {"use", "<mac>", "chooses the agent that commands go to", 1, &Agents::Choose, "<mac>"},
        {"behave", "[<setting>=<value>]...",
         "shows or changes how the platform answers: interval=<seconds>, heartbeats=on|off, register= and "
         "login= "
         "accept|silent|empty|refuse|close, delay=<seconds> before an ack, listen=on|off",
         0, &Agents::Behave, kSettings},
        {"wait", "<event> [<report>|any] [<seconds>]",
         "waits for the next event of a kind since the last wait: registered, logged-in, heartbeat, report, "
         "reply, closed, bad-frame, exited (the agent started here)",
         1, &Agents::Wait, "registered logged-in heartbeat report reply closed bad-frame exited"},
    };
    interpreter_.AddTopic("agent", *this, kCommands);
    interpreter_.AddNews([this] { return platform_.log().notice().descriptor(); }, [this] { ShowNews(); });
    interpreter_.known_macs = [this] {
        std::vector<std::string> macs;
        for (const AgentInfo& agent : platform_.Agents()) macs.push_back(MacText(agent.mac));
        for (const std::string& device : RouterState::OfEnvironment().DeviceMacs()) macs.push_back(device);
        return macs;
    };
    interpreter_.prompt = [this] { return chosen_ ? MacText(*chosen_) + "> " : std::string("platform> "); };
}

MacAddress Agents::Current() const {
    if (chosen_) return *chosen_;
    std::vector<AgentInfo> agents = platform_.Agents();
    if (agents.size() > 1) std::erase_if(agents, [](const AgentInfo& agent) { return !agent.logged_in; });
    if (agents.empty())
        throw CommandError(
            platform_.Agents().empty()
                ? "no agent is here yet; start-agent starts one, wait logged-in waits for it"
                : "no agent is logged in now; agents lists those seen, wait logged-in waits for one");
    if (agents.size() > 1)
        throw CommandError("several agents are here: agents lists them, use <mac> chooses one");
    return agents.front().mac;
}

LinkEvent Agents::Await(Cursor& cursor, const std::string& what, const EventMatch& matches,
                        Milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    do {
        const auto event = cursor.NextUntil(std::min(deadline, std::chrono::steady_clock::now() + kWaitStep));
        interpreter_.ShowNews();
        ThrowIfInterrupted();
        if (!event || !matches(*event)) continue;
        interpreter_.last = DecodeEvent(*event);
        return *event;
    } while (std::chrono::steady_clock::now() < deadline);
    ComplainOfWait(timeout, what);
}

void Agents::ShowNews() {
    platform_.log().notice().Clear();
    while (const auto event = news_.Next(Milliseconds(0)))
        if (passed_over_.erase(event->number) == 0) ShowEvent(*event);
}

void Agents::ShowEvent(const LinkEvent& event) {
    if (!interpreter_.output().json() && !verbose_ && Routine(event)) return;
    const Json shown = DecodeEvent(event);
    std::string text = ClockText(event.wall_time) + "  ";
    if (!AllZero(event.mac)) text += MacText(event.mac) + "  ";
    text += Sentence(event, shown);
    if (!event.note.empty()) text += " (" + event.note + ")";
    if (event.kind == EventKind::kReport || event.kind == EventKind::kReply) {
        for (const char* key : {"text", "bytes"})
            if (shown.contains(key)) text += "\n    " + Inline(shown[key]);
        if (shown.contains("fields") && OnlineDevice(shown).is_null()) text += "\n" + Lines(shown["fields"]);
    }
    interpreter_.output().Show(shown, text);
}

void Agents::List(const Invocation&) {
    Json list = Json::array();
    for (const AgentInfo& agent : platform_.Agents()) {
        list.push_back({{"mac", MacText(agent.mac)},
                        {"serial", agent.serial},
                        {"pin", agent.pin},
                        {"state", agent.logged_in ? "logged in" : "away"},
                        {"peer", agent.peer},
                        {"registrations", agent.registrations},
                        {"logins", agent.logins},
                        {"heartbeats", agent.heartbeats}});
    }
    const Json agents = {{"agents", list}};
    interpreter_.Show(agents, list.empty() ? "    none yet" : Lines(agents));
}

void Agents::Behave(const Invocation& words) {
    Behaviour behaviour = platform_.behaviour();
    for (const std::string& word : words.WordsFrom(1)) {
        const auto [setting, value] = ParseNamed(word);
        if (!Change(behaviour, platform_, setting, value.value_or("")))
            throw CommandError("there is no setting \"" + setting + "\"; help behave lists them");
    }
    platform_.Behave(behaviour);
    if (words.size() > 1) return;
    interpreter_.Show({{"interval", behaviour.interval},
                       {"heartbeats", behaviour.answer_heartbeats ? "on" : "off"},
                       {"register", Name(behaviour.register_ack)},
                       {"login", Name(behaviour.login_ack)},
                       {"delay", static_cast<double>(behaviour.ack_delay.count()) / 1000}});
}

void Agents::Wait(const Invocation& words) {
    const std::string& what = words.word(1);
    std::size_t next = 2;
    std::optional<std::uint8_t> type;
    if (what == "report" && words.size() > next) type = ReportType(words.word(next++));
    const std::string of_type = type ? " of type " + std::to_string(*type) : "";
    const Milliseconds timeout = ParseSeconds(words.word(next, "60"));
    if (what == "exited") return process_.WaitForExit(timeout);
    const auto* const awaited = std::ranges::find(kAwaited, what, &Awaited::first);
    if (awaited == std::end(kAwaited))
        throw CommandError("there is no event \"" + what + "\"; help wait lists them");

    const auto matches = [&, agent = chosen_](const LinkEvent& event) {
        const bool of_agent = !agent || event.mac == *agent;
        const bool of_login = event.kind != EventKind::kClosed || event.server == Server::kLogin;
        return event.kind == awaited->second && of_agent && of_login && (!type || event.data_type == *type);
    };
    Await(waited_, what + of_type, matches, timeout);
}

}  // namespace plug::bench
