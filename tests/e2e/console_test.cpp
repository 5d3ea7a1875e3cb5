// The bench's console as a user has it: the real program on a terminal of 24 lines.
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "bench/command_table.h"
#include "bench/process.h"
#include "bench/sandbox.h"
#include "bench/text.h"

namespace plug::e2e {
namespace {

using namespace plug::bench;  // NOLINT: the tests are written in its words

constexpr char kCtrlC[] = "\x03";

class Console : public testing::Test {
  protected:
    void SetUp() override {
        EnterSandbox();
        Start();
    }
    void TearDown() override {
        if (child_ <= 0) return;
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }

    void Start() {
        winsize size{24, 80, 0, 0};
        child_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (child_ == 0) {
            setenv("HOME", "/tmp", 1);
            setenv("TERM", "xterm", 1);
            const std::string program = ProgramFolder() + "/plug-bench";
            execl(program.c_str(), "plug-bench", "--register-port", "0", "--login-port", "0", nullptr);
            _exit(127);
        }
        Expect("> ");
    }

    /// Types a text as it is.
    void Type(const std::string& keys) {
        ASSERT_EQ(static_cast<ssize_t>(keys.size()), write(terminal_, keys.data(), keys.size()));
    }
    /// Waits until the screen shows `text` behind what was expected before; what stood before it is returned.
    std::string Expect(const std::string& text) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        std::size_t at;
        while ((at = screen_.find(text)) == std::string::npos) {
            pollfd readable{terminal_, POLLIN, 0};
            const bool late = std::chrono::steady_clock::now() >= deadline;
            char chunk[4096];
            const ssize_t got =
                !late && poll(&readable, 1, 1000) > 0 ? read(terminal_, chunk, sizeof chunk) : 0;
            if (late || got < 0) {
                ADD_FAILURE() << "not shown: " << text << "\n--- the screen ---\n" << screen_;
                return {};
            }
            screen_.append(chunk, static_cast<std::size_t>(got));
        }
        std::string before = screen_.substr(0, at);
        screen_.erase(0, at + text.size());
        return before;
    }
    /// Waits until a command runs, or until the prompt takes lines again: the terminal cuts lines itself only
    /// while a command runs.
    void AwaitRunning(bool running) {
        EXPECT_TRUE(WaitUntil(
            [&] {
                termios mode{};
                tcgetattr(terminal_, &mode);
                return ((mode.c_lflag & ICANON) != 0) == running;
            },
            std::chrono::seconds(30)));
    }
    /// Runs a command; what it shows up to `last`.
    std::string Run(const std::string& line, const std::string& last) {
        AwaitRunning(false);
        Type(line + "\n");
        return Expect(last);
    }
    void ExpectExit() {
        int status = -1;
        EXPECT_TRUE(
            WaitUntil([&] { return waitpid(child_, &status, WNOHANG) == child_; }, std::chrono::seconds(30)));
        child_ = -1;
        EXPECT_EQ(0, status);
    }
    void LogIn() {
        Run("start-agent", "heartbeat");
        Run("cpu-use", "percent  12");
    }

    pid_t child_ = -1;

  private:
    int terminal_ = -1;
    std::string screen_;
};

TEST_F(Console, CtrlCEndsTheCommandAndNotTheBench) {
    LogIn();
    for (const char* line : {"sleep 500", "wait closed 500", "split 4 500", "shell sleep 500; true"}) {
        AwaitRunning(false);
        Type(std::string(line) + "\n");
        AwaitRunning(true);
        Type(kCtrlC);
        Expect("interrupted");
        Run("cpu-use", "percent  12");  // the agent has not noticed
    }
    Run("echo kept", "kept\r");
    AwaitRunning(false);
    Type("half a line");
    Expect("half a line");
    Type(kCtrlC);
    Expect("> ");
    // That was for the line alone, not for the next command; and the lines before it are still there.
    Type("sleep 0.1\n");
    EXPECT_EQ(std::string::npos, Run("cpu-use", "percent  12").find("interrupted"));
    AwaitRunning(false);
    Type("\x1b[A\x1b[A\x1b[A");
    Expect("echo kept");
    Type(kCtrlC);
    Expect("> ");
    for (int count = 0; count < 2; ++count) {  // a command in between begins the count anew
        Run("cpu-use", "percent  12");
        AwaitRunning(false);
        Type(kCtrlC);
        Expect("Ctrl-C once more leaves");
        Expect("> ");
    }
    const std::string history = ReadFile("/tmp/.plug-bench-history");
    EXPECT_EQ(std::string::npos, history.find("half a line"));
    EXPECT_NE(std::string::npos, history.find("split")) << history;  // which was interrupted
    Type(kCtrlC);
    ExpectExit();
    // What was typed is there again: the line before the last one is reached by going up.
    Start();
    Type("\x1b[A\n");
    Expect("cpu-use");
    Expect("no agent is here yet; start-agent starts one");
}

TEST_F(Console, TellsHowTheAgentEnded) {
    LogIn();
    Run("disconnect", "exited with status 255; its last state is 005, sent away by the platform");
    LogIn();
    Run("shell kill -KILL $(pgrep -P $PPID -x plug)", "the agent started here was killed by SIGKILL");
    LogIn();
    // Also while a command waits, and no more than once.
    AwaitRunning(false);
    Type("wait bad-frame 500\n");
    AwaitRunning(true);
    const std::vector<std::string> end = {"pkill", "-TERM", "-P", std::to_string(child_), "-x", "plug"};
    EXPECT_TRUE(WaitUntil([&] { return bench::Run({.argv = end}).status == 0; }, std::chrono::seconds(30)));
    Expect("was killed by SIGTERM");
    Type(kCtrlC);
    Expect("interrupted");
    EXPECT_EQ(std::string::npos, Run("wait exited\necho done", "done").find("SIGTERM"));
}

TEST_F(Console, ExplainsMistakesAndCompletesValues) {
    LogIn();
    Run("wan-confg 1", "did you mean wan-config?");
    Run("ssid-config-set index=2 sid=x", "did you mean ssid?");
    Run("wait report 300", "\"300\" was taken for the type of report");
    Run("wan-config 9", "result 103 (the simulated router: no such device");
    Run("window add 00:00:5E:00:53:B1 1 9:00 8:00", "warning: it stops before it starts");
    Run("window add 00:00:5E:00:53:B1 67 8:00 9:00", "warning: the agent looks up no window on Sundays");
    Run("window add 00:00:5E:00:53:B1 56 20:00 23:59", "warning: what is barred when Saturday ends stays so");
    EXPECT_EQ(std::string::npos,
              Run("window add 00:00:5E:00:53:B1 6 8:00 9:00\necho done", "done\r").find("warning"));
    AwaitRunning(false);
    Type("behave login=ref\t\n");
    Run("behave", "login       refuse");
    AwaitRunning(false);
    Type("device-name 00:00:5E:00:53:B3\t\n");
    Expect("name  laptop");
}

TEST(Help, FitsAScreen) {
    EnterSandbox();
    std::string script = "help\n";
    for (const CommandForm& form : CommandForms())
        script += "echo ==\nhelp " + std::string(form.name) + "\necho ==\nhelp " + form.topic + "\n";
    for (const char* topic :
         {"script", "peer", "peer-mischief", "agent", "bytes", "mischief", "plug-data", "simulator"})
        script += "echo ==\nhelp " + std::string(topic) + "\n";
    WriteFile("/tmp/help.bench", script);  // which the bench's own sandbox hides from it
    const Outcome outcome =
        bench::Run({.argv = {ProgramFolder() + "/plug-bench", "--sandbox", "--register-port", "0",
                             "--login-port", "0", "run", "/tmp/help.bench"}});
    ASSERT_EQ(0, outcome.status) << outcome.output;
    int lines = 0;
    for (const std::string& line : Split(outcome.output, '\n')) {
        lines = line == "==" ? 0 : lines + 1;
        EXPECT_LE(lines, 23) << line;
        EXPECT_LE(line.size(), 79U) << line;
    }
}

}  // namespace
}  // namespace plug::e2e
