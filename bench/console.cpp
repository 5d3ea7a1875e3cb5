#include "bench/console.h"

#include <editline/readline.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "bench/interruption.h"

namespace plug::bench {
namespace {

// The line editor keeps its state in globals and calls back without arguments; so does this file, for its one
// console.
Interpreter* current = nullptr;
bool editing = false;  // the prompt is on the screen
bool ended = false;    // the end of input was typed
bool leaving = false;  // Ctrl-C was typed at an empty line; once more ends the console
std::vector<std::string> candidates;
std::string history_path;  // empty: none is kept

std::string HistoryPath() {
    const char* const home = getenv("HOME");
    return home == nullptr ? std::string() : std::string(home) + "/.plug-bench-history";
}

char* NextCandidate(const char*, int state) {
    const auto at = static_cast<std::size_t>(state);
    return at < candidates.size() ? strdup(candidates[at].c_str()) : nullptr;
}

char** CompleteWord(const char* word, int, int end) {
    rl_attempted_completion_over = 1;  // never file names
    candidates = current->Complete(std::string(rl_line_buffer, static_cast<std::size_t>(end)));
    const bool value_follows = candidates.size() == 1 && candidates[0].ends_with('=');
    rl_completion_append_character = value_follows ? 0 : 0x20;  // a blank
    return rl_completion_matches(word, NextCandidate);
}

void RunLine(const std::string& line) {
    try {
        current->Execute(line);
    } catch (const CommandError& failure) {
        current->output().Show({{"failed", failure.what()}}, failure.what());
    }
    TakeInterruption();  // which came when the command ended by itself
}

void ShowPrompt();

void TakeLine(char* line) {
    editing = false;
    rl_callback_handler_remove();
    if (line == nullptr) {
        ended = true;
        return;
    }
    leaving = false;
    if (*line != '\0') {
        add_history(line);
        if (!history_path.empty()) write_history(history_path.c_str());
    }
    RunLine(line);
    free(line);
    if (!current->done()) ShowPrompt();
}

void ShowPrompt() {
    rl_callback_handler_install(current->prompt().c_str(), TakeLine);
    editing = true;
}

/// Ctrl-C while the prompt is on the screen.
void Interrupt() {
    const bool empty = rl_end == 0;
    ended = empty && leaving;
    leaving = empty;
    editing = false;
    rl_replace_line("", 0);
    rl_callback_handler_remove();
    fputs(empty && !ended ? "\nCtrl-C once more leaves; so does quit.\n" : "\n", stdout);
    if (!ended) ShowPrompt();
}

/// Until the end of input is seen; `read` takes what is there.
void Loop(const std::function<void()>& read) {
    while (!current->done() && !ended) {
        current->AwaitNews(-1, STDIN_FILENO);
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (TakeInterruption())
            Interrupt();
        else if (poll(&input, 1, 0) > 0)
            read();
    }
}

void RunPlain() {
    std::string pending;
    Loop([&pending] {
        std::array<char, 4096> chunk;
        const ssize_t got = read(STDIN_FILENO, chunk.data(), chunk.size());
        ended = got <= 0;
        pending.append(chunk.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
        if (ended && !pending.empty()) pending += '\n';
        std::size_t end;
        while (!current->done() && (end = pending.find('\n')) != std::string::npos) {
            const std::string line = pending.substr(0, end);
            pending.erase(0, end + 1);
            RunLine(line);
        }
    });
}

void RunEdited() {
    Output& output = current->output();
    output.before = [] {
        if (editing) fputs("\r\033[K", stdout);
    };
    output.after = [] {
        if (editing) rl_forced_update_display();
    };
    rl_basic_word_break_characters = " ";  // a MAC and name=value are one word each
    rl_attempted_completion_function = CompleteWord;
    using_history();
    static constexpr int kLongestHistory = 1000;
    stifle_history(kLongestHistory);
    history_path = HistoryPath();
    if (!history_path.empty()) read_history(history_path.c_str());
    const InterruptGuard guard;
    ShowPrompt();
    Loop([] { rl_callback_read_char(); });
    if (editing) rl_callback_handler_remove();
    editing = false;
    output.before = output.after = nullptr;
}

}  // namespace

void RunConsole(Interpreter& interpreter) {
    current = &interpreter;
    ended = false;
    if (isatty(STDIN_FILENO) && isatty(STDOUT_FILENO))
        RunEdited();
    else
        RunPlain();
    current = nullptr;
}

}  // namespace plug::bench
