#include "bench/interpreter.h"

#include <poll.h>

#include <cstring>
#include <ctime>

#include "bench/process.h"
#include "bench/text.h"
#include "bench/text_table.h"

namespace plug::bench {

namespace {

void Replace(std::string& line, const std::string& name, const std::string& value) {
    for (std::size_t at = 0; (at = line.find(name, at)) != std::string::npos; at += value.size())
        line.replace(at, name.size(), value);
}

}  // namespace

Invocation::Invocation(const std::string& line) : line_(line) {
    std::size_t at = 0;
    while ((at = line_.find_first_not_of(" \t\r", at)) != std::string::npos) {
        if (line_[at] == '#') {
            line_.resize(at);
            break;
        }
        starts_.push_back(at);
        std::string word;
        char quote = '\0';
        for (; at < line_.size() && (quote != '\0' || !strchr(" \t\r", line_[at])); ++at) {
            if (line_[at] == quote)
                quote = '\0';
            else if (quote == '\0' && (line_[at] == '"' || line_[at] == '\''))
                quote = line_[at];
            else
                word += line_[at];
        }
        words_.push_back(std::move(word));
    }
    line_.resize(line_.find_last_not_of(" \t\r") + 1);
}

std::vector<std::string> Invocation::WordsFrom(std::size_t at) const {
    if (at >= words_.size()) return {};
    return {words_.begin() + static_cast<std::ptrdiff_t>(at), words_.end()};
}

std::string Invocation::RestFrom(std::size_t at) const {
    return at < starts_.size() ? line_.substr(starts_[at]) : std::string();
}

Interpreter::Interpreter(Output& output) : prompt([] { return std::string("bench> "); }), output_(output) {
    AddCommon();
}

void Interpreter::Add(ConsoleCommand command) {
    if (!command.alias.empty()) aliases_[command.alias] = command.name;
    if (std::ranges::find(topics_, command.topic) == topics_.end()) topics_.push_back(command.topic);
    commands_[command.name] = std::move(command);
}

const ConsoleCommand* Interpreter::Find(const std::string& name) const {
    const auto alias = aliases_.find(name);
    const auto found = commands_.find(alias == aliases_.end() ? name : alias->second);
    return found == commands_.end() ? nullptr : &found->second;
}

const ConsoleCommand* Interpreter::FindLonger(const Invocation& words) const {
    return words.size() > 1 ? Find(words.word(0) + " " + words.word(1)) : nullptr;
}

void Interpreter::Execute(const std::string& line) try {
    std::string filled = line;
    Replace(filled, "$now", std::to_string(std::time(nullptr)));
    for (const auto& [name, value] : kept_)  // "device_name" before "device"
        Replace(filled, "$" + name, value);
    Invocation words(filled);
    if (words.size() == 0) return;
    const ConsoleCommand* command = FindLonger(words);
    if (command != nullptr)
        words = words.From(1);
    else
        command = Find(words.word(0));
    if (command == nullptr)
        throw CommandError("there is no command \"" + words.word(0) + "\"" +
                           DidYouMean(words.word(0), Words()));
    if (words.size() <= command->at_least)
        throw CommandError("usage: " + command->name + " " + command->usage);
    command->run(words);
} catch (const CommandError&) {
    throw;
} catch (const std::exception& error) {
    throw CommandError(error.what());
}

std::vector<std::string> Interpreter::Complete(const std::string& line) const {
    Invocation words(line);
    const bool new_word = line.empty() || line.back() == ' ';
    const std::string start = new_word ? "" : words.word(words.size() - 1);
    std::vector<std::string> candidates;
    const auto offer = [&](const std::string& text) {
        if (text.starts_with(start)) candidates.push_back(text);
    };
    const bool first = words.size() == 0 || (words.size() == 1 && !new_word);
    const bool second = words.size() == (new_word ? 1 : 2);
    for (const auto& [name, entry] : commands_) {
        const std::size_t blank = std::min(name.find(' '), name.size());
        if (first || words.word(0) == "help")
            offer(name.substr(0, blank));
        else if (second && blank < name.size() && words.word(0) == name.substr(0, blank))
            offer(name.substr(blank + 1));
    }
    if (second && words.word(0) == "help")
        for (const std::string& topic : topics_) offer(topic);
    const ConsoleCommand* command = first ? nullptr : FindLonger(words);
    if (command == nullptr && !first) command = Find(words.word(0));
    if (command != nullptr)
        for (const std::string& text : command->completions) {
            const std::size_t place = text.find(kAnyMac);
            if (place == std::string::npos) offer(text);
            if (place != std::string::npos && known_macs)
                for (const std::string& mac : known_macs()) offer(text.substr(0, place) + mac);
        }
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    return candidates;
}

void Interpreter::AddNews(std::function<int()> notice, std::function<void()> show) {
    news_.push_back({std::move(notice), std::move(show)});
}

void Interpreter::ShowNews() const {
    for (const News& news : news_) news.show();
}

bool Interpreter::AwaitNews(int timeout, int input) const {
    ShowNews();
    std::vector<pollfd> polled = {{input, POLLIN, 0}, {InterruptionDescriptor(), POLLIN, 0}};
    for (const News& news : news_) polled.push_back({news.notice(), POLLIN, 0});
    const bool came = poll(polled.data(), polled.size(), timeout) > 0;
    ShowNews();
    return came;
}

void Interpreter::Idle(Milliseconds time) const {
    const auto deadline = std::chrono::steady_clock::now() + time;
    Milliseconds left = time;
    do {
        AwaitNews(static_cast<int>(left.count()));
        ThrowIfInterrupted();
        left = std::chrono::ceil<Milliseconds>(deadline - std::chrono::steady_clock::now());
    } while (left.count() > 0);
}

void Interpreter::Show(Json learned, const std::string& text) {
    last = std::move(learned);
    output_.Show(last, text);
}

void Interpreter::Show(const Json& learned) {
    Show(learned, Lines(learned));
}

void Interpreter::AddCommon() {
    const std::string topic = "script";
    Add({"help", "[<topic>|<command>]", "lists the topics, the commands of one, or tells about a command",
         topic, 0, [this](const Invocation& words) { Help(words); }});
    Add({"echo", "<text>", "prints a text", topic, 0, [this](const Invocation& words) {
             const std::string text = words.RestFrom(1);
             output_.Show({{"echo", text}}, text);
         }});
    Add({"expect",
         "<field> <relation> [<value>]",
         "checks the last answer; relations: == != < > contains exists",
         topic,
         2,
         [this](const Invocation& words) { Expect(words); },
         {"==", "!=", "<", ">", "contains", "exists"}});
    Add({"keep", "<name> <field>", "keeps a field of the last answer: later lines have it as $<name>", topic,
         2, [this](const Invocation& words) { kept_[words.word(1)] = TextOfField(last, words.word(2)); }});
    Add({"sleep", "<seconds>", "pauses, showing what comes in", topic, 1,
         [this](const Invocation& words) { Idle(ParseSeconds(words.word(1))); }});
    Add({"shell", "<command>", "runs a shell command; fails when that does", topic, 1,
         [this](const Invocation& words) { Shell(words); }});
    Add({"quit-if", "<command>", "ends the bench when the shell command succeeds", topic, 1,
         [this](const Invocation& words) {
             const Outcome outcome = Run({.argv = {"/bin/sh", "-c", words.RestFrom(1)}});
             if (!outcome.output.empty()) output_.Show({{"text", outcome.output}}, outcome.output);
             done_ = outcome.status == 0;
         }});
    Add({"quit", "", "ends the bench", topic, 0, [this](const Invocation&) { done_ = true; }, {}, "exit"});
}

std::vector<std::string> Interpreter::Words() const {
    std::vector<std::string> words;
    for (const auto& [name, command] : commands_) words.push_back(name);
    return words;
}

void Interpreter::Help(const Invocation& words) {
    const std::string asked = words.RestFrom(1);
    if (asked.empty()) return ListTopics();
    if (const ConsoleCommand* const command = Find(asked); command != nullptr) return Explain(*command);
    if (std::ranges::find(topics_, asked) != topics_.end()) return ListTopic(asked);
    std::vector<std::string> known = Words();
    known.insert(known.end(), topics_.begin(), topics_.end());
    throw CommandError("there is no command and no topic \"" + asked + "\"" + DidYouMean(asked, known));
}

void Interpreter::ListTopics() {
    Json listed = Json::array();
    std::map<std::string, std::string> lines;
    for (const auto& [name, command] : commands_) {
        listed.push_back({{"command", name},
                          {"id", command.alias},
                          {"topic", command.topic},
                          {"usage", command.usage},
                          {"help", command.help}});
        lines[command.topic] += " " + name;
    }
    std::string text = "help <topic> lists a topic's commands, help <command> tells about one:\n";
    for (const std::string& topic : topics_)
        text += Cut("  " + topic + std::string(14 - std::min<std::size_t>(13, topic.size()), ' ') +
                    lines[topic].substr(1)) +
                "\n";
    output_.Show({{"commands", listed}}, text);
}

void Interpreter::ListTopic(const std::string& topic) {
    Json listed = Json::array();
    std::string text;
    for (const auto& [name, command] : commands_) {
        if (command.topic != topic) continue;
        listed.push_back({{"command", name}, {"id", command.alias}, {"help", command.help}});
        text += Cut(Format("  %4s  %-22s  ", command.alias.c_str(), name.c_str()) + command.help) + "\n";
    }
    output_.Show({{"commands", listed}}, text);
}

void Interpreter::Explain(const ConsoleCommand& command) {
    const std::string id = command.alias.empty() ? "" : " (" + command.alias + ")";
    const std::string usage = command.details.empty() ? command.usage : "";
    output_.Show({{"command", command.name},
                  {"id", command.alias},
                  {"topic", command.topic},
                  {"usage", command.usage},
                  {"help", command.help}},
                 Wrapped(command.name + id + (usage.empty() ? "" : " " + usage), "  ") +
                     Wrapped(command.help, "    ") + command.details);
}

void Interpreter::Expect(const Invocation& words) {
    ++expectations_;
    CheckExpectation(last, words.word(1), words.word(2), words.size() > 3 ? words.word(3) : "");
}

void Interpreter::Shell(const Invocation& words) {
    // A group is killed as one. The terminal interrupts all of its own, and lets only that ask for a
    // password.
    const Outcome outcome =
        Run({.argv = {"/bin/sh", "-c", words.RestFrom(1)}, .own_group = InterruptedWithoutTerminal()});
    ThrowIfInterrupted();  // the terminal has interrupted both
    last = {{"shell", words.RestFrom(1)}, {"status", outcome.status}, {"text", outcome.output}};
    if (!outcome.output.empty() || output_.json()) output_.Show(last, outcome.output);
    if (outcome.status != 0) throw CommandError("the shell command " + EndingText(outcome.status));
}

}  // namespace plug::bench
