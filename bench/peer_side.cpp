#include "bench/peer_side.h"

#include <unistd.h>

#include <array>

#include "bench/process.h"
#include "bench/sockets.h"
#include "bench/text.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

constexpr char kTopic[] = "peer";
constexpr char kMischief[] = "peer-mischief";
constexpr char kHexadecimal[] = "hex=";
constexpr std::string_view kHarmless = R"({"bench":"mischief"})";  // what mischief reports
constexpr std::uint16_t kHarmlessId = 84;
constexpr std::uint32_t kTooLong = 4096;

const CommandForm& RequestRow(const std::string& name) {
    const CommandForm* const row = Find(LocalRequests(), name);
    if (row == nullptr) throw CommandError("the agent never asks for \"" + name + "\"");
    return *row;
}

std::vector<std::string> Names(std::span<const CommandForm> rows) {
    std::vector<std::string> names;
    for (const CommandForm& row : rows) names.emplace_back(row.name);
    return names;
}

/// The payload of a report as written: its row's parameters, or "hex=..".
ByteVector ReportPayload(const CommandForm& row, const std::vector<std::string>& words) {
    if (!words.empty() && words[0].starts_with(kHexadecimal))
        return ParseHex(words[0].substr(sizeof kHexadecimal - 1));
    return EncodeParameters(row, words, row.id == 81 ? UsualStatus() : ByteVector());
}

std::string Sentence(const PeerEvent& event, const Json& shown) {
    switch (event.kind) {
        case PeerEventKind::kConnected:
            return "connected to the agent";
        case PeerEventKind::kRequest:
            return "is asked " + std::to_string(event.func_id) + " " + shown.value("name", "");
        case PeerEventKind::kBadFrame:
            return "BAD FRAME: " + shown.value("bytes", "");
        case PeerEventKind::kClosed:
            return "connection closed";
    }
    return "";
}

}  // namespace

PeerSide::PeerSide(Interpreter& interpreter, const PeerOptions& options, const std::string& prefix)
    : interpreter_(interpreter),
      output_(interpreter.output()),
      options_(options),
      prefix_(prefix),
      peer_(options),
      shown_(peer_.FromStart()) {
    AddConnection();
    AddAnswers();
    AddReports();
    AddMischief();
    AddWaits();
    interpreter_.AddNews([this] { return peer_.log().notice().descriptor(); }, [this] { ShowNews(); });
}

void PeerSide::Add(const std::string& name, const std::string& usage, const std::string& help,
                   std::size_t at_least, Action run, std::vector<std::string> completions,
                   const char* topic) {
    const std::string full_name = prefix_.empty() ? name : prefix_ + " " + name;
    interpreter_.Add({full_name, usage, help, topic, at_least, std::move(run), std::move(completions)});
}

void PeerSide::ShowNews() {
    peer_.log().notice().Clear();
    while (const auto event = shown_.Next(Milliseconds(0))) ShowEvent(*event);
}

void PeerSide::ShowEvent(const PeerEvent& event) {
    const Json shown = DecodePeerEvent(event);
    std::string text = ClockText(event.wall_time) + "  local peer  " + Sentence(event, shown);
    if (!event.note.empty()) text += " (" + event.note + ")";
    for (const char* key : {"text", "bytes"})
        if (event.kind == PeerEventKind::kRequest && shown.contains(key))
            text += "\n    " + Inline(shown[key]);
    if (shown.contains("fields")) text += "\n" + Lines(shown["fields"]);
    output_.Show(shown, text);
}

void PeerSide::Require(bool sent) const {
    if (!sent) throw CommandError("the local peer is not connected to the agent");
}

void PeerSide::AddConnection() {
    Add("start", "[<seconds>]", "connects to the agent's command server, for which it waits", 0,
        [this](const Invocation& words) { Start(words); });
    Add("reconnect", "[<seconds>]", "connects anew", 0, [this](const Invocation& words) { Start(words); });
    Add("stop", "", "closes the connection", 0, [this](const Invocation&) { peer_.Disconnect(); });
    Add("second", "", "connects a second client and tells whether it is turned away", 0,
        [this](const Invocation&) { SecondClient(); });
}

void PeerSide::Start(const Invocation& words) {
    if (!peer_.Connect(ParseSeconds(words.word(1, "10"))))
        throw CommandError("nobody listens at " + options_.path);
}

void PeerSide::SecondClient() {
    const int socket = ConnectTo(options_.path);
    if (socket < 0) throw CommandError("nobody listens at " + options_.path);
    std::array<char, 1> byte;
    const bool closed = Readable(socket, std::chrono::steady_clock::now() + std::chrono::seconds(10)) &&
                        read(socket, byte.data(), byte.size()) == 0;
    close(socket);
    interpreter_.Show({{"closed", closed}},
                      closed ? "the second client was turned away" : "the second client is served");
}

// --- answers ---

void PeerSide::AddAnswers() {
    std::vector<std::string> completions = Names(LocalRequests());
    for (const char* word : {"result=", "delay=", "hex=", "silent", "usual"}) completions.emplace_back(word);
    Add(
        "answer", "<request> [result=<n>] [delay=<seconds>] [silent|usual|hex=<hex>|<values>]",
        "how a request is answered from now on", 2, [this](const Invocation& words) { Answer(words); },
        completions);
    Add("answers", "[<file>]",
        "shows the answers that are not the usual ones, or loads them from a JSON file", 0,
        [this](const Invocation& words) {
            if (words.size() > 1) peer_.answers().Load(Json::parse(ReadFile(words.word(1))));
            const Json shown = {{"answers", peer_.answers().Changes()}};
            interpreter_.Show(shown, shown["answers"].empty() ? "    the usual ones" : Lines(shown));
        });
    Add("requests", "", "lists what the agent may ask", 0, [this](const Invocation&) {
        Json rows = Json::array();
        for (const CommandForm& row : LocalRequests())
            rows.push_back({{"id", row.id}, {"name", row.name}, {"help", row.help}});
        interpreter_.Show({{"requests", rows}});
    });
    Add("reply", "<request> [hex=<hex>]", "a reply that nobody asked for: the result byte and its data", 1,
        [this](const Invocation& words) {
            const CommandForm& row = RequestRow(words.word(1));
            Require(peer_.Send(row.id,
                               words.size() > 2 ? ReportPayload(row, words.WordsFrom(2)) : ByteVector{0}));
        });
}

void PeerSide::Answer(const Invocation& words) {
    const CommandForm& row = RequestRow(words.word(1));
    PeerAnswer answer;
    std::vector<std::string> values;
    for (const std::string& word : words.WordsFrom(2)) {
        const std::string value = ParseNamed(word).value.value_or("");
        if (word == "usual")
            return peer_.answers().Reset(row.id);
        else if (word == "silent")
            answer.silent = true;
        else if (word.starts_with("result="))
            answer.result = ParseNumber<std::uint8_t>(value);
        else if (word.starts_with("delay="))
            answer.delay = ParseSeconds(value);
        else if (word.starts_with(kHexadecimal))
            answer.data = ParseHex(value);
        else
            values.push_back(word);
    }
    if (!values.empty()) answer.data = EncodeAnswer(row, values);
    peer_.answers().Set(row.id, answer);
}

// --- reports ---

void PeerSide::AddReports() {
    Add(
        "report", "<report> [hex=<hex>|<values>]",
        "a report: 81 status, 84 and 86 with JSON, 89 with type=<1..3> and data", 1,
        [this](const Invocation& words) { Report(words); }, Names(LocalReports()));
    Add("devices", "<mac> <name> [offline] [<mac> <name> [offline]]...",
        "the devices in the home (FuncID 40)", 2, [this](const Invocation& words) { Devices(words); });
    Add("firmware-result", "<code>", "the result of a firmware update", 1, [this](const Invocation& words) {
        const std::uint8_t code[] = {ParseNumber<std::uint8_t>(words.word(1))};
        Require(peer_.Send(999, code));
    });
    Add("ask-state", "", "asks for the plug-in state", 0,
        [this](const Invocation&) { Require(peer_.AskState()); });
    Add("send", "<FuncID> [<hex>]", "any FuncID with a raw payload", 1, [this](const Invocation& words) {
        Require(peer_.Send(ParseNumber<std::uint16_t>(words.word(1)), ParseHex(words.RestFrom(2))));
    });
}

void PeerSide::Report(const Invocation& words) {
    const CommandForm* const row = Find(LocalReports(), words.word(1));
    if (row == nullptr)
        throw CommandError("there is no report \"" + words.word(1) + "\", only 81, 84, 86 and 89");
    Require(peer_.Send(row->id, ReportPayload(*row, words.WordsFrom(2))));
}

void PeerSide::Devices(const Invocation& words) {
    std::vector<ReportedDevice> devices;
    for (std::size_t at = 1; at < words.size();) {
        const auto mac = ParseMac(words.word(at));
        if (!mac || at + 1 == words.size())
            throw CommandError("a device is a MAC and a name, not " + words.RestFrom(at));
        devices.push_back({*mac, words.word(at + 1)});
        at += 2;
        if (at == words.size() || words.word(at) != "offline") continue;
        devices.back().online = false;
        ++at;
    }
    Require(peer_.Send(40, DevicesPayload(devices)));
}

// --- mischief ---

void PeerSide::AddMischief() {
    using Frame = std::function<ByteVector()>;
    const auto simple = [this](const char* name, const char* help, const Frame& frame) {
        Add(
            name, "", help, 0, [this, frame](const Invocation&) { Require(peer_.SendBytes(frame())); }, {},
            kMischief);
    };
    const auto harmless = [this] { return peer_.Frame(kHarmlessId, AsBytes(kHarmless)); };
    simple("bad-head", "a report whose head is wrong", [=] { return WithWrongHead(harmless()); });
    simple("bad-checksum", "a report whose checksum is wrong", [=] { return WithWrongSum(harmless()); });
    Add(
        "repeat-sequence", "", "a report, and another one with its sequence", 0,
        [this, harmless](const Invocation&) {
            Require(peer_.SendBytes(harmless()) &&
                    peer_.SendBytes(peer_.RepeatedFrame(kHarmlessId, AsBytes(kHarmless))));
        },
        {}, kMischief);
    simple("long-length", "a report that announces more bytes than come",
           [=] { return WithLength(harmless(), kTooLong); });
    simple("empty", "a frame without a payload", [this] { return peer_.Frame(kHarmlessId, {}); });
    simple("glue", "two reports in one write", [=] { return Join({harmless(), harmless()}); });
    simple("half", "the first half of a report", [=] {
        ByteVector frame = harmless();
        frame.resize(frame.size() / 2);
        return frame;
    });
    Add(
        "raw", "<hex>", "bytes as they are", 1,
        [this](const Invocation& words) { Require(peer_.SendBytes(ParseHex(words.RestFrom(1)))); }, {},
        kMischief);
}

// --- waits ---

void PeerSide::AddWaits() {
    const auto add = [this](PeerEventKind kind, const std::string& usage, const std::string& help) {
        const std::string event = (prefix_.empty() ? "" : prefix_ + "-") + Name(kind);
        interpreter_.Add(
            {"wait " + event, usage, help, kTopic, 0,
             [this, kind](const Invocation& words) { WaitFor(kind, words); },
             kind == PeerEventKind::kRequest ? Names(LocalRequests()) : std::vector<std::string>()});
    };
    add(PeerEventKind::kRequest, "[<request>] [<seconds>]", "waits for the agent to ask");
    add(PeerEventKind::kBadFrame, "[<seconds>]", "waits for a frame that is none");
    add(PeerEventKind::kClosed, "[<seconds>]", "waits until the connection is closed");
}

void PeerSide::WaitFor(PeerEventKind kind, const Invocation& words) {
    std::size_t next = 1;
    std::optional<std::uint16_t> id;
    if (kind == PeerEventKind::kRequest && words.size() > next) id = RequestRow(words.word(next++)).id;
    const Milliseconds timeout = ParseSeconds(words.word(next, "60"));
    const auto event = peer_.WaitFor(
        [&](const PeerEvent& seen) { return seen.kind == kind && (!id || seen.func_id == *id); }, timeout);
    interpreter_.ShowNews();
    if (!event)
        ComplainOfWait(timeout,
                       std::string("the local peer's ") + Name(kind) + (id ? " " + std::to_string(*id) : ""));
    interpreter_.last = DecodePeerEvent(*event);
}

}  // namespace plug::bench
