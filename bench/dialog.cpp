#include "bench/dialog.h"

#include "bench/result_text.h"
#include "bench/text_table.h"

namespace plug::bench {

std::string AnswerText(const Json& answer) {
    std::string text = answer.value("answer", "") + ": " + answer.value("error", "ok");
    if (answer.contains("warning")) text += " (" + answer.value("warning", "") + ")";
    if (answer.contains("error") && answer.value("code", 0) != 0) text += ", code " + Inline(answer["code"]);
    text += "\n";
    if (answer.contains("fields")) text += Lines(answer["fields"]);
    return text;
}

void Dialog::Require(bool sent) {
    if (!sent) throw CommandError("the agent is not logged in; wait logged-in waits for it");
}

// --- function commands ---

Dialog::Request Dialog::Make(const std::string& name, const std::vector<std::string>& values) {
    const CommandForm& form = *Find(CommandForms(), name);
    return {form, EncodeParameters(form, values)};
}

Dialog::Request Dialog::Parse(const Invocation& words) {
    if (words.word(0) == "call") {
        if (words.size() < 2) throw CommandError("call needs a function ID");
        return {{ParseNumber<std::uint16_t>(words.word(1)), "call", ""}, ParseHex(words.RestFrom(2)), true};
    }
    const CommandForm* const form = Find(CommandForms(), words.word(0));
    if (form == nullptr) throw CommandError("there is no function command \"" + words.word(0) + "\"");
    const std::vector<std::string> given = words.WordsFrom(1);
    if (form->read_first == 0 || given.empty()) return {*form, EncodeParameters(*form, given)};

    const CommandForm& base = *Find(CommandForms(), form->read_first);
    const LinkEvent answer = Ask({base, EncodeBaseParameters(*form, given)});
    if (answer.result() != 0)
        throw CommandError(std::string(base.name) + " gave " + ResultText(base.id, answer.result()));
    return {*form, EncodeParameters(*form, given, Payload(answer))};
}

void Dialog::Exchange(const std::vector<Request>& requests, const Send& send) {
    const MacAddress agent = Agent();
    Cursor cursor = platform_.FromNow();
    ByteVector frames;
    std::vector<std::uint16_t> heads;
    for (const auto& [form, parameters, raw] : requests) {
        heads.push_back(platform_.NextHead());
        frames = Join({frames, BuildCommand(platform_.key(), form.id, parameters, agent, heads.back())});
    }
    Require(send ? send(agent, frames) : platform_.SendBytes(agent, frames));

    std::vector<std::optional<LinkEvent>> answers(requests.size());
    for (std::size_t at = 0; at < requests.size(); ++at)
        if (requests[at].form.answer.shape != Shape::kNoAnswer)
            answers[at] = AwaitAnswer(requests[at], cursor, heads[at]);
    interpreter_.ShowNews();  // what came unasked meanwhile
    for (std::size_t at = 0; at < requests.size(); ++at) ShowAnswer(requests[at], answers[at]);
}

void Dialog::Carry(const Request& request) {
    Exchange({request});
    const Json& answer = interpreter_.last;
    if (answer.contains("error"))
        throw CommandError(std::string(request.form.name) + ": " + answer.value("error", ""));
}

LinkEvent Dialog::Ask(const Request& request) {
    Cursor cursor = platform_.FromNow();
    const std::uint16_t head = platform_.NextHead();
    Require(platform_.SendCommand(Agent(), request.form.id, request.parameters, {}, head));
    return AwaitAnswer(request, cursor, head);
}

LinkEvent Dialog::AwaitAnswer(const Request& request, Cursor& cursor, std::uint16_t head) {
    const Milliseconds timeout = std::chrono::seconds(request.form.answer_seconds);
    std::optional<LinkEvent> refusal;
    const auto answer = Platform::AwaitAnswer(cursor, Agent(), request.form.id, head, timeout, &refusal);
    if (!answer)
        throw CommandError(std::string(request.form.name) + ": no answer within " +
                           std::to_string(request.form.answer_seconds) + " s");
    agents_.PassOver(*answer);
    if (refusal) agents_.PassOver(*refusal);
    return *answer;
}

void Dialog::ShowAnswer(const Request& request, const std::optional<LinkEvent>& answer) {
    const std::string name = request.form.name;
    if (!answer)
        return interpreter_.Show({{"answer", name}, {"id", request.form.id}},
                                 name + ": sent; it has no answer");
    Json shown = DecodeAnswer(request.form, *answer);
    if (request.raw) {
        shown.erase("warning");
        shown["fields"] = {{"bytes", ToHex(answer->data)}};
    }
    interpreter_.Show(shown, AnswerText(shown));
}

// --- plug data ---

void Dialog::ExchangePlug(std::uint8_t data_type, std::string_view text) {
    const MacAddress agent = Agent();
    Cursor cursor = platform_.FromNow();
    Require(platform_.SendPlugData(agent, data_type, text));
    const auto reply = cursor.WaitFor(IsPlugReply(agent), std::chrono::seconds(15));
    if (!reply) throw CommandError("no reply within 15 s");
    agents_.PassOver(*reply);
    interpreter_.ShowNews();
    Json shown = DecodeEvent(*reply);
    shown.erase("event");
    const std::string result = shown.contains("fields") ? "\n" + Lines(shown["fields"]) : " without data";
    interpreter_.Show(shown, "plug reply with code " + std::to_string(reply->code) + result);
}

// --- waits ---

LinkEvent Dialog::Await(Cursor& cursor, const std::string& what, const EventMatch& matches,
                        Milliseconds timeout) {
    const auto of_agent = [&, agent = Agent()](const LinkEvent& event) {
        return event.mac == agent && matches(event);
    };
    return agents_.Await(cursor, what, of_agent, timeout);
}

}  // namespace plug::bench
