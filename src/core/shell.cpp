#include "core/shell.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "core/sync.h"

namespace plug {
namespace {

constexpr std::size_t kMostCommands = 16;  // at a time; the agent's threads run fewer

/// A command under way: the shell, which leads a process group of its own, and its output if that is read.
struct Command {
    pid_t shell = 0;  // 0: a free place
    FILE* output = nullptr;
};

struct ShellState {
    Mutex mutex;
    std::array<Command, kMostCommands> commands PLUG_CHECKED(guarded_by(mutex)){};
    bool ended PLUG_CHECKED(guarded_by(mutex)) = false;
};
constinit ShellState state;

/// Starts the shell with attributes and actions that are as new, and its output as of Spawn. 0 or an error.
int SpawnWith(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& actions, const char* command,
              int output, pid_t& pid) {
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setsigmask(&attributes, &none);
    if (output >= 0) {
        const int error = posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        if (error != 0) return error;
    }
    char shell[] = "sh";
    char option[] = "-c";
    char* const arguments[] = {shell, option, const_cast<char*>(command), nullptr};
    return posix_spawn(&pid, "/bin/sh", &actions, &attributes, arguments, environ);
}

/// Starts the shell, with the standard output given if that is not negative. Its process ID; -1 with errno
/// set.
pid_t Spawn(const char* command, int output) {
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    int error = posix_spawnattr_init(&attributes);
    errno = error;
    if (error != 0) return -1;
    pid_t pid = -1;
    error = posix_spawn_file_actions_init(&actions);
    if (error == 0) {
        error = SpawnWith(attributes, actions, command, output, pid);
        posix_spawn_file_actions_destroy(&actions);
    }
    posix_spawnattr_destroy(&attributes);
    errno = error;
    return error == 0 ? pid : -1;
}

/// Kills a shell and all that it has started; it alone if it does not lead its group yet.
void Kill(pid_t shell) {
    if (kill(-shell, SIGKILL) != 0) kill(shell, SIGKILL);
}

void Note(const Command& command) {
    const Guard guard(state.mutex);
    const auto place = std::ranges::find(state.commands, 0, &Command::shell);
    if (place != state.commands.end()) *place = command;
    if (state.ended) Kill(command.shell);
}

/// Waits for the shell's end and forgets it. Its status, or -1.
int Await(pid_t shell) {
    siginfo_t ended;
    // It stays a zombie until it is forgotten, so that its number is nobody else's while it may be killed.
    while (waitid(P_PID, static_cast<id_t>(shell), &ended, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    const Guard guard(state.mutex);
    const auto place = std::ranges::find(state.commands, shell, &Command::shell);
    if (place != state.commands.end()) *place = {};
    int status = 0;
    return waitpid(shell, &status, 0) == shell ? status : -1;
}

/// The shell whose output this is, or -1.
pid_t ShellOf(const FILE* output) {
    const Guard guard(state.mutex);
    const auto place = std::ranges::find(state.commands, output, &Command::output);
    return place != state.commands.end() ? place->shell : -1;
}

}  // namespace

int RunShell(const char* command) {
    const pid_t shell = Spawn(command, -1);
    if (shell < 0) return -1;
    Note({shell, nullptr});
    return Await(shell);
}

FILE* OpenShell(const char* command) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return nullptr;
    FILE* const output = fdopen(ends[0], "r");
    const pid_t shell = output != nullptr ? Spawn(command, ends[1]) : -1;
    close(ends[1]);
    if (shell > 0) {
        Note({shell, output});
        return output;
    }
    if (output != nullptr)
        fclose(output);
    else
        close(ends[0]);
    return nullptr;
}

int CloseShell(FILE* output) {
    const pid_t shell = ShellOf(output);
    fclose(output);
    return shell > 0 ? Await(shell) : -1;
}

void EndShellCommands() {
    const Guard guard(state.mutex);
    state.ended = true;
    for (const Command& command : state.commands) {
        if (command.shell > 0) Kill(command.shell);
    }
}

}  // namespace plug
