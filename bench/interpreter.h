// Commands by name: what console and scripts have in common, whatever side of the agent registers the
// commands.
//
// A line is a command and words; quotes hold blanks together, '#' at the start of a word begins a comment,
// and $now stands for the seconds since 1970. A command throws CommandError when it fails, and leaves what it
// learned in `last`, which `expect` examines. One thread.
#pragma once

#include <map>

#include "bench/expectation.h"
#include "bench/output.h"

namespace plug::bench {

/// A line taken apart.
class Invocation {
  public:
    explicit Invocation(const std::string& line);

    std::size_t size() const { return words_.size(); }  // the command's name included
    const std::string& word(std::size_t at) const { return words_.at(at); }
    /// The same; when there are fewer words, what stands for it.
    std::string word(std::size_t at, const std::string& otherwise) const {
        return at < words_.size() ? words_[at] : otherwise;
    }
    /// The words from `at` on; none when there are fewer.
    std::vector<std::string> WordsFrom(std::size_t at) const;
    /// The raw text from word `at` on, for what brings quotes of its own.
    std::string RestFrom(std::size_t at) const;
    /// The line without its first `at` words.
    Invocation From(std::size_t at) const { return Invocation(RestFrom(at)); }

  private:
    std::string line_;
    std::vector<std::string> words_;
    std::vector<std::size_t> starts_;
};

/// In a completion: every MAC that is known.
constexpr std::string_view kAnyMac = "<mac>";

struct ConsoleCommand {
    std::string name;   // one word or two; the words that `run` gets begin with the last of them
    std::string usage;  // its words, without the name
    std::string help;
    std::string topic;
    std::size_t at_least = 0;  // words it needs
    std::function<void(const Invocation&)> run;
    std::vector<std::string> completions{};  // of its words; kAnyMac in one stands for each MAC that is known
    std::string alias{};                     // another name: a function command's ID
    std::string details{};                   // more help, in lines
};

/// A command of a topic, whose commands all work on one object. `Run` is a function of it and an Invocation,
/// or a member of it.
template <class Run>
struct TopicCommand {
    const char* name;
    const char* usage;
    const char* help;
    std::size_t at_least;
    Run run;
    const char* completions = "";  // with blanks between them
};

class Interpreter {
  public:
    /// Registers the commands that every side has: help, echo, expect, sleep, shell, quit.
    explicit Interpreter(Output& output);

    void Add(ConsoleCommand command);
    /// Registers a topic's commands. The object must outlive them.
    template <class Object, class Run, std::size_t count>
    void AddTopic(const std::string& topic, Object& object, const TopicCommand<Run> (&commands)[count]) {
        for (const TopicCommand<Run>& command : commands)
            Add({command.name, command.usage, command.help, topic, command.at_least,
                 [&object, run = command.run](const Invocation& words) { std::invoke(run, object, words); },
                 Invocation(command.completions).WordsFrom(0)});
    }
    /// Runs one line; an empty one does nothing. Throws CommandError, and nothing else.
    void Execute(const std::string& line);
    /// What may stand where `line` ends, for completion of its last word.
    std::vector<std::string> Complete(const std::string& line) const;
    const ConsoleCommand* Find(const std::string& name) const;
    const std::map<std::string, ConsoleCommand>& commands() const { return commands_; }

    Output& output() { return output_; }
    bool done() const { return done_; }
    int expectations() const { return expectations_; }

    /// A side's news: `show` prints what came since its last call, the descriptor of `notice` (-1 for none)
    /// is readable when there is some.
    void AddNews(std::function<int()> notice, std::function<void()> show);
    void ShowNews() const;
    /// Waits for news, shown as they come, for `input` (-1 for none) or for an interruption. False after
    /// `timeout`, which may be negative for none.
    bool AwaitNews(int timeout, int input = -1) const;
    /// A pause during which news are shown as they come. Throws Interrupted.
    void Idle(Milliseconds time) const;

    /// Ends a command: what it learned becomes `last` and is printed, for people as `text`, or as names and
    /// values.
    void Show(Json learned, const std::string& text);
    void Show(const Json& learned);
    Json last;  // what the last command learned
    std::function<std::string()> prompt;
    std::function<std::vector<std::string>()> known_macs;  // for completion

  private:
    void AddCommon();
    void Help(const Invocation& words);
    void ListTopics();
    void ListTopic(const std::string& topic);
    void Explain(const ConsoleCommand& command);
    std::vector<std::string> Words() const;
    void Expect(const Invocation& words);
    void Shell(const Invocation& words);

    const ConsoleCommand* FindLonger(const Invocation& words) const;

    Output& output_;
    std::map<std::string, ConsoleCommand> commands_;
    std::map<std::string, std::string> aliases_;
    std::map<std::string, std::string, std::greater<>> kept_;  // by the names that `keep` gave
    std::vector<std::string> topics_;                          // in the order of their first command
    struct News {
        std::function<int()> notice;
        std::function<void()> show;
    };
    std::vector<News> news_;
    bool done_ = false;
    int expectations_ = 0;
};

}  // namespace plug::bench
