#include "bench/platform_side.h"

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

}  // namespace

PlatformSide::PlatformSide(Platform& platform, Interpreter& interpreter, bool verbose)
    : platform_(platform),
      interpreter_(interpreter),
      output_(interpreter.output()),
      verbose_(verbose),
      shown_(platform.FromStart()),
      waited_(platform.FromStart()) {
    AddAgentCommands();
    AddFunctionCommands();
    AddMischief();
    AddWaits();
    AddProcessCommands();
    AddDeviceCommands();
    AddDiagnostics();
    AddPlugCommands();
    // For `shell`: the router's state, which a script may look at and edit.
    setenv("ROUTER_SIM", (folder_.path() + "/router.json").c_str(), 1);
    interpreter_.AddNews(platform_.log().notice(), [this] { ShowNews(); });
    interpreter_.prompt = [this] { return chosen_ ? MacText(*chosen_) + "> " : std::string("platform> "); };
}

void PlatformSide::ShowNews() {
    platform_.log().ClearNotice();
    while (const auto event = shown_.Next(Milliseconds(0)))
        if (shown_early_.erase(event->number) == 0) ShowEvent(*event);
}

void PlatformSide::ShowEvent(const LinkEvent& event) {
    if (!output_.json() && !verbose_ && Routine(event)) return;
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
    output_.Show(shown, text);
}

void PlatformSide::Require(bool sent) const {
    if (!sent) throw CommandError("the agent is not logged in");
}

MacAddress PlatformSide::CurrentAgent() const {
    if (chosen_) return *chosen_;
    std::vector<AgentInfo> agents = platform_.Agents();
    if (agents.size() > 1) std::erase_if(agents, [](const AgentInfo& agent) { return !agent.logged_in; });
    if (agents.empty()) throw CommandError("no agent is here yet");
    if (agents.size() > 1) throw CommandError("several agents are here; choose one with: use <mac>");
    return agents.front().mac;
}

void PlatformSide::ShowAgents() {
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
    interpreter_.last = {{"agents", list}};
    output_.Show(interpreter_.last, list.empty() ? "    none yet" : Lines(interpreter_.last));
}

void PlatformSide::AddAgentCommands() {
    const std::string group = "agents";
    interpreter_.Add(
        {"agents", "", "lists the agents seen", group, 0, [this](const Invocation&) { ShowAgents(); }});
    interpreter_.Add(
        {"use", "<mac>", "chooses the agent that commands go to", group, 1, [this](const Invocation& words) {
             chosen_ = ParseMac(words.word(1));
             if (!chosen_) throw CommandError("no MAC: " + words.word(1));
         }});
    interpreter_.Add({"behave",
                      "[<setting>=<value>]...",
                      "shows or changes how the platform answers",
                      group,
                      0,
                      [this](const Invocation& words) { Behave(words); },
                      {"interval=", "heartbeats=", "register=", "login=", "delay=", "listen="}});
}

void PlatformSide::Behave(const Invocation& words) {
    static constexpr std::pair<const char*, Ack> kAcks[] = {{"accept", Ack::kAccept},
                                                            {"silent", Ack::kSilent},
                                                            {"empty", Ack::kEmptyBody},
                                                            {"refuse", Ack::kRefuse},
                                                            {"close", Ack::kClose}};
    const auto ack = [](const std::string& text) {
        for (const auto& [name, value] : kAcks)
            if (text == name) return value;
        throw CommandError("an ack is accept, silent, empty, refuse or close, not " + text);
    };
    const auto name_of = [](Ack value) { return kAcks[static_cast<std::size_t>(value)].first; };

    Behaviour behaviour = platform_.behaviour();
    for (const std::string& word : words.WordsFrom(1)) {
        const std::string name = word.substr(0, word.find('='));
        const std::string value = word.substr(std::min(name.size() + 1, word.size()));
        if (name == "interval") {
            behaviour.interval = static_cast<std::uint16_t>(ParseNumber(value, 0xFFFF));
        } else if (name == "heartbeats") {
            behaviour.answer_heartbeats = value == "on";
        } else if (name == "register") {
            behaviour.register_ack = ack(value);
        } else if (name == "login") {
            behaviour.login_ack = ack(value);
        } else if (name == "delay") {
            behaviour.ack_delay = ParseSeconds(value);
        } else if (name == "listen") {
            for (const Server server : {Server::kRegistration, Server::kLogin})
                value == "on" ? platform_.OpenListener(server) : platform_.CloseListener(server);
        } else {
            throw CommandError("no setting \"" + name + "\"");
        }
    }
    platform_.Behave(behaviour);
    if (words.size() > 1) return;
    interpreter_.last = {{"interval", behaviour.interval},
                         {"heartbeats", behaviour.answer_heartbeats ? "on" : "off"},
                         {"register", name_of(behaviour.register_ack)},
                         {"login", name_of(behaviour.login_ack)},
                         {"delay", static_cast<double>(behaviour.ack_delay.count()) / 1000}};
    output_.Show(interpreter_.last, Lines(interpreter_.last));
}

// --- waits ---

void PlatformSide::AddWaits() {
    interpreter_.Add(
        {"wait",
         "<event> [<report>] [<seconds>]",
         "waits for the next event of a kind since the last wait: registered, logged-in, heartbeat, report, "
         "reply, "
         "closed, bad-frame, exited (the agent started here)",
         "agents",
         1,
         [this](const Invocation& words) { Wait(words); },
         {"registered", "logged-in", "heartbeat", "report", "reply", "closed", "bad-frame", "exited"}});
}

void PlatformSide::Wait(const Invocation& words) {
    static const std::map<std::string, EventKind> kKinds = {
        {"registered", EventKind::kRegister}, {"logged-in", EventKind::kLogin},
        {"heartbeat", EventKind::kHeartbeat}, {"report", EventKind::kReport},
        {"reply", EventKind::kReply},         {"closed", EventKind::kClosed},
        {"bad-frame", EventKind::kBadFrame}};
    const std::string& what = words.word(1);
    std::size_t next = 2;
    std::optional<std::uint8_t> type;
    if (what == "report" && words.size() > next) {
        const ReportForm* const row = FindReport(words.word(next));
        type = row != nullptr ? row->number : static_cast<std::uint8_t>(ParseNumber(words.word(next), 0xFF));
        ++next;
    }
    const Milliseconds timeout = words.size() > next ? ParseSeconds(words.word(next)) : Milliseconds(60000);
    if (what == "exited") {
        WaitForExit(timeout);
        return;
    }
    const auto kind = kKinds.find(what);
    if (kind == kKinds.end()) throw CommandError("no event \"" + what + "\"");

    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (const auto event = platform_.log().At(waited_.place(), deadline)) {
        waited_.Next(Milliseconds(0));
        interpreter_.ShowNews();
        const bool of_agent = !chosen_ || event->mac == *chosen_;
        const bool of_login = event->kind != EventKind::kClosed || event->server == Server::kLogin;
        if (event->kind != kind->second || !of_agent || !of_login || (type && event->data_type != *type))
            continue;
        interpreter_.last = DecodeEvent(*event);
        return;
    }
    throw CommandError("waited " + std::to_string(timeout.count() / 1000) + " s for " + words.RestFrom(1) +
                       " in vain");
}

}  // namespace plug::bench
