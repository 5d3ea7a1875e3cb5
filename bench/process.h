// Real processes under observation, for end-to-end tests, scripts and measurements. Waits look every few
// milliseconds.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace plug::bench {

using Milliseconds = std::chrono::milliseconds;

struct ProcessSpec {
    std::vector<std::string> argv;           // argv[0] with a slash is a path, else it is looked up in PATH
    std::vector<std::string> environment{};  // "NAME=value", added to or replacing the caller's
    std::string directory{};                 // empty: the caller's
    bool capture = true;                     // false: its output goes where the caller's goes
    bool own_group = false;                  // Ctrl-C in the terminal does not reach it
    /// Called in the child before the program is started; false, with errno, when it cannot be. Must not
    /// allocate, as other threads may have been at it.
    std::function<bool()> enter{};
};

/// A child process. It dies with this object, and with the thread that started it.
class Process {
  public:
    /// Throws std::system_error when it cannot be started (a missing program too).
    explicit Process(const ProcessSpec& spec);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return pid_; }
    bool Running();
    /// Readable once it has ended.
    int end_descriptor() const { return end_; }
    void Signal(int number);
    /// SIGKILL, and reaped. With a group of its own, so are those that it started and left in it.
    void Kill();
    /// The exit status, or 128 + signal, once it ended; none when it still runs after `timeout`.
    std::optional<int> WaitExit(Milliseconds timeout);

    /// Standard output and standard error so far, in the order of writing.
    std::string Output() const;
    /// Waits until the output holds `text` at or behind offset `from`; the offset behind it, or none.
    std::optional<std::size_t> WaitForOutput(const std::string& text, Milliseconds timeout,
                                             std::size_t from = 0);

    /// Waits until nobody holds the output's writing end any more.
    void WaitForEnd(Milliseconds timeout);

  private:
    void Collect();

    pid_t pid_ = -1;
    const bool own_group_;
    int end_ = -1;
    std::optional<int> status_;
    int pipe_ = -1;
    std::thread collector_;
    mutable std::mutex mutex_;  // guards the fields below it
    std::condition_variable changed_;
    std::string output_;
    bool ended_ = false;      // nothing more will come
    bool abandoned_ = false;  // the object goes; a grandchild may still hold the pipe
};

/// Runs a command to its end. Its status as of WaitExit, and its output.
struct Outcome {
    int status = 0;
    std::string output;
};
Outcome Run(const ProcessSpec& spec, Milliseconds timeout = Milliseconds(30000));

/// How a process ended, by its status as of WaitExit: "exited with status 255", "was killed by SIGKILL".
std::string EndingText(int status);

/// Looks at `done` every few milliseconds until it holds; false after `timeout`. Throws Interrupted.
bool WaitUntil(const std::function<bool()>& done, Milliseconds timeout);
/// Waits until the file is there with exactly this content, as for "003\n" in the agent's status file.
bool WaitForFile(const std::string& path, const std::string& content, Milliseconds timeout);
/// The whole file; empty when there is none.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);  // throws std::system_error

/// The number behind `label` in a file of "label: number" lines, as those of /proc; 0 without one.
double NumberAfter(const std::string& path, const std::string& label);

/// A new folder under /tmp that goes with its object.
class TemporaryFolder {
  public:
    TemporaryFolder();  // throws std::system_error
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

/// The folder of the running program, where the agent and the simulated router are built too.
std::string ProgramFolder();

}  // namespace plug::bench
