// PlatformSide: the commands that an agent answers, and mischief on their way.
#include <unistd.h>

#include "bench/platform_side.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

constexpr char kHarmless[] = "wifi-radio-switch";  // what mischief sends when no command is given

ByteVector Joined(ByteVector first, const ByteVector& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string AnswerText(const Json& answer) {
    std::string text = answer.value("answer", "") + ": " + answer.value("error", "ok");
    if (answer.contains("warning")) text += " (" + answer.value("warning", "") + ")";
    if (answer.contains("error") && answer.value("code", 0) != 0) text += ", code " + Inline(answer["code"]);
    text += "\n";
    if (answer.contains("fields")) text += Lines(answer["fields"]);
    return text;
}

}  // namespace

void PlatformSide::AddFunctionCommands() {
    for (const CommandForm& row : CommandForms()) {
        std::vector<std::string> completions;
        for (const Field& field : row.parameters)
            if (field.kind != FieldKind::kSkip) completions.push_back(std::string(field.name) + "=");
        std::string help = row.help;
        if (row.read_first != 0)
            help += "; what is not given stays as " + std::string(FindCommand(row.read_first)->name);
        interpreter_.Add({row.name, ParameterForm(row), help, "function commands", 0,
                          [this](const Invocation& words) { Exchange({ParseRequest(words)}); }, completions,
                          std::to_string(row.id)});
    }
    interpreter_.Add({"call", "<id> [<hex>]",
                      "any function ID with raw parameters; the answer is shown as bytes", "raw", 1,
                      [this](const Invocation& words) { Exchange({ParseRequest(words)}); }});
    interpreter_.Add({"plug", "<data-type> <json>", "plug data that is answered (MsgType 18)", "raw", 2,
                      [this](const Invocation& words) { SendPlug(words); }});
    interpreter_.Add({"plug-quiet", "<data-type> <json>", "plug data that is not answered (MsgType 25)",
                      "raw", 2, [this](const Invocation& words) {
                          Require(platform_.SendPlugData(
                              CurrentAgent(), static_cast<std::uint8_t>(ParseNumber(words.word(1), 0xFF)),
                              words.RestFrom(2), MsgType::kPlugReply));
                      }});
    interpreter_.Add({"raw", "<hex>", "bytes as they are", "raw", 1, [this](const Invocation& words) {
                          Require(platform_.SendBytes(CurrentAgent(), ParseHex(words.RestFrom(1))));
                      }});
}

PlatformSide::Request PlatformSide::ParseRequest(const Invocation& words) {
    if (words.size() == 0) return ParseRequest(Invocation(kHarmless));
    if (words.word(0) == "call") {
        if (words.size() < 2) throw CommandError("call needs a function ID");
        const auto id = static_cast<std::uint16_t>(ParseNumber(words.word(1), 0xFFFF));
        return {{id, "call", ""}, ParseHex(words.RestFrom(2)), true};
    }
    const CommandForm* const row = FindCommand(words.word(0));
    if (row == nullptr) throw CommandError("no function command \"" + words.word(0) + "\"");
    const std::vector<std::string> given = words.WordsFrom(1);
    if (row->read_first == 0 || given.empty()) return {*row, EncodeParameters(*row, given)};

    const CommandForm& base = *FindCommand(row->read_first);
    Cursor cursor = platform_.FromNow();
    const std::uint16_t head = platform_.NextHead();
    const Request read = {base, EncodeBaseParameters(*row, given)};
    Require(platform_.SendCommand(CurrentAgent(), base.id, read.parameters, {}, head));
    const LinkEvent answer = Await(read, cursor, head);
    if (answer.result() != 0)
        throw CommandError(std::string(base.name) + " gave result " + std::to_string(answer.result()));
    return {*row, EncodeParameters(*row, given, Payload(answer))};
}

LinkEvent PlatformSide::Await(const Request& request, Cursor& cursor, std::uint16_t head) {
    const Milliseconds timeout = std::chrono::seconds(request.row.answer_seconds);
    std::optional<LinkEvent> refusal;
    const auto answer =
        Platform::AwaitAnswer(cursor, CurrentAgent(), request.row.id, head, timeout, &refusal);
    if (!answer)
        throw CommandError(std::string(request.row.name) + ": no answer within " +
                           std::to_string(request.row.answer_seconds) + " s");
    shown_early_.insert(answer->number);
    if (refusal) shown_early_.insert(refusal->number);
    return *answer;
}

void PlatformSide::ShowAnswer(const Request& request, const std::optional<LinkEvent>& answer) {
    Json shown = {{"answer", request.row.name}, {"id", request.row.id}};
    if (!answer) {
        interpreter_.last = shown;
        output_.Show(shown, std::string(request.row.name) + ": sent; it has no answer");
        return;
    }
    shown = DecodeAnswer(request.row, *answer);
    if (request.raw) {
        shown.erase("warning");
        shown["fields"] = {{"bytes", ToHex(answer->data)}};
    }
    interpreter_.last = shown;
    output_.Show(shown, AnswerText(shown));
}

void PlatformSide::Exchange(const std::vector<Request>& requests, const Transform& transform) {
    const MacAddress agent = CurrentAgent();
    Cursor cursor = platform_.FromNow();
    ByteVector bytes;
    std::vector<std::uint16_t> heads;
    for (const Request& request : requests) {
        heads.push_back(platform_.NextHead());
        bytes = Joined(std::move(bytes), BuildCommand(platform_.key(), request.row.id, request.parameters,
                                                      agent, heads.back()));
    }
    Require(platform_.SendBytes(agent, transform ? transform(std::move(bytes)) : bytes));
    AwaitAll(requests, heads, cursor);
}

void PlatformSide::AwaitAll(const std::vector<Request>& requests, const std::vector<std::uint16_t>& heads,
                            Cursor& cursor) {
    std::vector<std::optional<LinkEvent>> answers;
    for (std::size_t at = 0; at < requests.size(); ++at) {
        const bool answered = requests[at].row.answer.shape != Shape::kNoAnswer;
        answers.push_back(answered ? std::optional(Await(requests[at], cursor, heads[at])) : std::nullopt);
    }
    interpreter_.ShowNews();  // what came unasked meanwhile
    for (std::size_t at = 0; at < requests.size(); ++at) ShowAnswer(requests[at], answers[at]);
}

void PlatformSide::SendPlug(const Invocation& words) {
    ExchangePlug(static_cast<std::uint8_t>(ParseNumber(words.word(1), 0xFF)), words.RestFrom(2));
}

void PlatformSide::ExchangePlug(std::uint8_t data_type, std::string_view text) {
    const MacAddress agent = CurrentAgent();
    Cursor cursor = platform_.FromNow();
    Require(platform_.SendPlugData(agent, data_type, text));
    const auto reply = cursor.WaitFor(IsPlugReply(agent), Milliseconds(15000));
    if (!reply) throw CommandError("no reply within 15 s");
    shown_early_.insert(reply->number);
    interpreter_.ShowNews();
    Json shown = DecodeEvent(*reply);
    shown.erase("event");
    interpreter_.last = shown;
    const std::string result = shown.contains("fields") ? "\n" + Lines(shown["fields"]) : " without data";
    output_.Show(shown, "plug reply with code " + std::to_string(reply->code) + result);
}

// --- mischief ---

void PlatformSide::AddMischief() {
    const std::string group = "mischief";
    const auto changed = [this, &group](
                             const char* name, const char* help, std::size_t words_before,
                             const std::function<ByteVector(const Invocation&, ByteVector)>& change) {
        const std::string usage = words_before == 0 ? "[<command>]" : "<hex> [<command>]";
        interpreter_.Add(
            {name, usage, help, group, words_before, [this, change, words_before](const Invocation& words) {
                 Exchange({ParseRequest(words.From(1 + words_before))},
                          [&](ByteVector frame) { return change(words, std::move(frame)); });
             }});
    };
    changed("bad-checksum", "a command whose checksum is wrong", 0,
            [](const Invocation&, ByteVector frame) { return WithWrongChecksum(std::move(frame)); });
    changed("junk", "bytes before a command's frame", 1,
            [](const Invocation& words, const ByteVector& frame) {
                return Joined(ParseHex(words.word(1)), frame);
            });
    changed("false-magic", "a magic number that begins no frame before a command's frame", 0,
            [](const Invocation&, const ByteVector& frame) {
                return Joined({0xCC, 0xDD}, frame);
            });
    changed("huge", "a header that announces 65797 bytes before a command's frame", 0,
            [](const Invocation&, const ByteVector& frame) { return Joined(HugeHeader(), frame); });

    const auto simple = [this, &group](const char* name, const char* help, const std::function<bool()>& act) {
        interpreter_.Add({name, "", help, group, 0, [this, act](const Invocation&) { Require(act()); }});
    };
    simple("drop", "closes the connection", [this] { return platform_.Drop(CurrentAgent()); });
    simple("reset", "closes the connection with a reset",
           [this] { return platform_.Drop(CurrentAgent(), true); });
    simple("disconnect", "a forced disconnect (MsgType 3)",
           [this] { return platform_.ForceDisconnect(CurrentAgent()); });
    simple("lead-word", "a frame whose body begins with 0xFFFF",
           [this] { return platform_.SendBytes(CurrentAgent(), LeadWordFrame()); });
    interpreter_.Add({"stall", "<seconds>", "reads and answers nothing for a while", group, 1,
                      [this](const Invocation& words) {
                          Require(platform_.Stall(CurrentAgent(), ParseSeconds(words.word(1))));
                      }});
    interpreter_.Add({"split", "<parts> <seconds> [<command>]",
                      "a command in parts, with a pause between them", group, 2,
                      [this](const Invocation& words) { SendSplit(words); }});
    interpreter_.Add({"glue", "<command> [; <command>]...", "several commands in one write", group, 1,
                      [this](const Invocation& words) { SendGlued(words); }});
}

void PlatformSide::SendSplit(const Invocation& words) {
    const MacAddress agent = CurrentAgent();
    const Request request = ParseRequest(words.From(3));
    Cursor cursor = platform_.FromNow();
    const std::uint16_t head = platform_.NextHead();
    const ByteVector frame = BuildCommand(platform_.key(), request.row.id, request.parameters, agent, head);
    const std::uint64_t parts = std::max<std::uint64_t>(ParseNumber(words.word(1), frame.size()), 1);
    Require(platform_.SendSplit(agent, frame, parts, ParseSeconds(words.word(2))));
    AwaitAll({request}, {head}, cursor);
}

void PlatformSide::SendGlued(const Invocation& words) {
    std::vector<Request> requests;
    std::string rest = words.RestFrom(1);
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(';'), rest.size());
        requests.push_back(ParseRequest(Invocation(rest.substr(0, end))));
        rest.erase(0, end + 1);
    }
    Exchange(requests);
}

// --- the agent's process ---

void PlatformSide::AddProcessCommands() {
    const std::string group = "agents";
    interpreter_.Add({"start-agent", "[<option>]...", "starts the agent beside the bench, with options as -d",
                      group, 0, [this](const Invocation& words) { StartTheAgent(words); }});
    interpreter_.Add({"stop-agent", "", "kills the agent started here", group, 0, [this](const Invocation&) {
                          if (agent_ != nullptr) agent_->Kill();
                      }});
    interpreter_.Add(
        {"agent-log", "", "what the agent started here has logged", group, 0, [this](const Invocation&) {
             if (agent_ == nullptr) throw CommandError("no agent was started here");
             interpreter_.last = {{"text", agent_->Output()}};
             output_.Show(interpreter_.last, agent_->Output());
         }});
}

void PlatformSide::StartTheAgent(const Invocation& words) {
    if (agent_ != nullptr && agent_->Running()) throw CommandError("the agent already runs");
    AgentSetup setup = SetupFor(platform_);
    setup.folder = folder_.path();
    setup.arguments = words.WordsFrom(1);
    agent_ = StartAgent(setup);
}

void PlatformSide::WaitForExit(Milliseconds timeout) {
    if (agent_ == nullptr) throw CommandError("no agent was started here");
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (agent_->Running() && std::chrono::steady_clock::now() < deadline)
        interpreter_.Idle(Milliseconds(50));
    const auto status = agent_->WaitExit(Milliseconds(0));
    if (!status) throw CommandError("the agent still runs");
    interpreter_.ShowNews();
    interpreter_.last = {{"status", *status}};
    output_.Show(interpreter_.last, "agent ended with status " + std::to_string(*status));
}

}  // namespace plug::bench
