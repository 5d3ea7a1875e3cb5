#include "bench/process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "bench/interruption.h"

namespace plug::bench {
namespace {

constexpr Milliseconds kLook{3};

std::system_error SystemError(const std::string& what, int error = errno) {
    return {error, std::generic_category(), what};
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> Environment(const std::vector<std::string>& added) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view present = *entry;
        const std::string_view name = present.substr(0, present.find('=') + 1);
        bool replaced = false;
        for (const std::string& addition : added) replaced = replaced || addition.starts_with(name);
        if (!replaced) environment.emplace_back(present);
    }
    environment.insert(environment.end(), added.begin(), added.end());
    return environment;
}

/// The child's part, between fork and exec: nothing here allocates.
[[noreturn]] void Become(char* const* argv, char* const* environment, const ProcessSpec& spec, int output,
                         int failure) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);  // whoever opened them
    if (spec.own_group) setpgid(0, 0);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const bool entered = !spec.enter || spec.enter();
    const bool placed = entered && (spec.directory.empty() || chdir(spec.directory.c_str()) == 0);
    if (placed && (output < 0 || (dup2(output, STDOUT_FILENO) >= 0 && dup2(output, STDERR_FILENO) >= 0)))
        execvpe(argv[0], argv, environment);
    const int error = errno;
    const ssize_t told = write(failure, &error, sizeof error);
    _exit(told > 0 ? 127 : 126);
}

}  // namespace

Process::Process(const ProcessSpec& spec) : own_group_(spec.own_group) {
    std::vector<std::string> arguments = spec.argv;
    std::vector<std::string> variables = Environment(spec.environment);
    const std::vector<char*> argv = Pointers(arguments);
    const std::vector<char*> environment = Pointers(variables);
    int output[2] = {-1, -1};
    int failure[2];
    if (spec.capture && pipe2(output, O_CLOEXEC) != 0) throw SystemError("pipe");
    if (pipe2(failure, O_CLOEXEC) != 0) throw SystemError("pipe");

    pid_ = fork();
    if (pid_ == 0) Become(argv.data(), environment.data(), spec, output[1], failure[1]);
    close(failure[1]);
    if (output[1] >= 0) close(output[1]);
    int error = pid_ < 0 ? errno : 0;
    if (pid_ > 0 && read(failure[0], &error, sizeof error) > 0) waitpid(pid_, nullptr, 0);
    close(failure[0]);
    pipe_ = output[0];
    if (error != 0) {
        if (pipe_ >= 0) close(pipe_);
        throw SystemError("starting " + spec.argv.at(0), error);
    }
    end_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    if (spec.capture) collector_ = std::thread([this] { Collect(); });
}

Process::~Process() {
    Kill();
    if (collector_.joinable()) {
        // A grandchild may still hold the pipe; what it writes from now on is nobody's.
        {
            const std::lock_guard guard(mutex_);
            abandoned_ = true;
        }
        collector_.join();
    }
    if (pipe_ >= 0) close(pipe_);
    if (end_ >= 0) close(end_);
}

void Process::Collect() {
    std::array<char, 4096> chunk;
    for (;;) {
        pollfd readable{pipe_, POLLIN, 0};
        const bool ready = poll(&readable, 1, 50) > 0;
        const ssize_t got = ready ? read(pipe_, chunk.data(), chunk.size()) : 0;
        const std::lock_guard guard(mutex_);
        if (got > 0) output_.append(chunk.data(), static_cast<std::size_t>(got));
        ended_ = (ready && got <= 0) || (!ready && abandoned_);
        changed_.notify_all();
        if (ended_) return;
    }
}

bool Process::Running() {
    return !WaitExit(Milliseconds(0)).has_value();
}

void Process::Signal(int number) {
    if (!status_) kill(pid_, number);
}

void Process::Kill() {
    if (status_) return;
    if (own_group_) kill(-pid_, SIGKILL);
    kill(pid_, SIGKILL);
    int status;
    if (waitpid(pid_, &status, 0) == pid_) status_ = 128 + SIGKILL;
}

std::optional<int> Process::WaitExit(Milliseconds timeout) {
    WaitUntil(
        [this] {
            int status;
            if (!status_ && waitpid(pid_, &status, WNOHANG) == pid_)
                status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            return status_.has_value();
        },
        timeout);
    return status_;
}

std::string EndingText(int status) {
    if (status <= 128 || status > 128 + SIGRTMAX) return "exited with status " + std::to_string(status);
    static constexpr std::pair<int, const char*> kNames[] = {
        {SIGHUP, "SIGHUP"},   {SIGINT, "SIGINT"},   {SIGQUIT, "SIGQUIT"}, {SIGILL, "SIGILL"},
        {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"},   {SIGFPE, "SIGFPE"},   {SIGKILL, "SIGKILL"},
        {SIGSEGV, "SIGSEGV"}, {SIGPIPE, "SIGPIPE"}, {SIGTERM, "SIGTERM"}};
    const int signal = status - 128;
    const auto* const known = std::ranges::find(kNames, signal, &std::pair<int, const char*>::first);
    const bool named = known != std::end(kNames);
    return "was killed by " + (named ? known->second : "signal " + std::to_string(signal));
}

std::string Process::Output() const {
    const std::lock_guard guard(mutex_);
    return output_;
}

std::optional<std::size_t> Process::WaitForOutput(const std::string& text, Milliseconds timeout,
                                                  std::size_t from) {
    std::unique_lock lock(mutex_);
    std::size_t at = std::string::npos;
    changed_.wait_for(lock, timeout, [&] {
        at = output_.find(text, from);
        return at != std::string::npos || ended_;
    });
    if (at == std::string::npos) return {};
    return at + text.size();
}

Outcome Run(const ProcessSpec& spec, Milliseconds timeout) {
    Process process(spec);
    const auto status = process.WaitExit(timeout);
    if (!status) {
        process.Kill();
        throw std::system_error(ETIMEDOUT, std::generic_category(), spec.argv.at(0));
    }
    if (spec.capture) process.WaitForEnd(Milliseconds(2000));
    return {*status, process.Output()};
}

void Process::WaitForEnd(Milliseconds timeout) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, timeout, [this] { return ended_; });
}

bool WaitUntil(const std::function<bool()>& done, Milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        ThrowIfInterrupted();
        std::this_thread::sleep_for(kLook);
    }
    return true;
}

bool WaitForFile(const std::string& path, const std::string& content, Milliseconds timeout) {
    return WaitUntil([&] { return ReadFile(path) == content; }, timeout);
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return file ? content.str() : std::string();
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    if (!file.flush()) throw SystemError("writing " + path);
}

double NumberAfter(const std::string& path, const std::string& label) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line))
        if (line.starts_with(label)) return std::stod(line.substr(label.size()));
    return 0;
}

TemporaryFolder::TemporaryFolder() : path_("/tmp/plug-bench-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw SystemError("making " + path_);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string ProgramFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

}  // namespace plug::bench
