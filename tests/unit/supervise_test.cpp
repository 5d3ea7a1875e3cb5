// packaging/supervise with fake agents: copies of the shell that run a script, told apart by their last byte.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "support/sandbox.h"

namespace plug::test {
namespace {

class Supervise : public Sandbox {
  protected:
    Supervise() {
        EXPECT_EQ(0, mkfifo("/tmp/gate", 0600));
        Restore();
    }
    void TearDown() override { Stop(); }

    // Version A is in place and nothing was downloaded.
    void Restore() {
        for (const char* left : {"/tmp/plug_download", "/tmp/plugstatus", "/tmp/agent.old", "/tmp/runs"})
            unlink(left);
        WriteFile("/tmp/agent", shell_ + "A");
        chmod("/tmp/agent", 0755);
    }

    // Starts the supervisor; its agent notes each run and its version, then does what the script of that
    // version says.
    void Start(const std::string& script_a, const std::string& script_b = "") {
        WriteFile("/tmp/script",
                  "version=$(tail -c 1 /proc/$$/exe)\necho \"$version $*\" >>/tmp/runs\n"
                  "if [ $version = A ]; then\n:\n" +
                      script_a + "\nelse\n:\n" + script_b + "\nfi\n");
        supervisor_ = fork();
        if (supervisor_ != 0) return;
        execl("/bin/sh", "sh", PLUG_SUPERVISE, "/tmp/agent", "/tmp/script", "-f", "file", nullptr);
        _exit(127);
    }

    int Stop() {
        if (supervisor_ <= 0) return -1;
        kill(supervisor_, SIGTERM);
        int status = 0;
        waitpid(supervisor_, &status, 0);
        supervisor_ = 0;
        return status;
    }

    static Lines Runs() { return ReadLines("/tmp/runs"); }
    static void WaitForRuns(const Lines& expected) {
        WaitUntil([&] { return Runs().size() >= expected.size(); });
        EXPECT_EQ(expected, Runs());
    }

    // An agent that goes on, once its update is done.
    static std::string UpdateOnce() {
        return "[ -e /tmp/updated ] || { touch /tmp/updated; cp -P /tmp/new /tmp/plug_download; "
               "echo 004 >/tmp/plugstatus; exit 255; }\nread line </tmp/gate";
    }

    const std::string shell_ = ReadFile("/bin/sh");
    pid_t supervisor_ = 0;
};

TEST_F(Supervise, InstallsAnUpdateAtOnce) {
    Program("sleep");
    WriteFile("/tmp/new", shell_ + "B");
    Start(UpdateOnce(), "read line </tmp/gate");
    WaitForRuns({"A -f file", "B -f file"});
    EXPECT_TRUE(shell_ + "A" == ReadFile("/tmp/agent.old"));
    EXPECT_TRUE(shell_ + "B" == ReadFile("/tmp/agent"));
    for (const char* gone : {"/tmp/plug_download", "/tmp/plugstatus", "/tmp/agent.new", "/tmp/agent.keep"})
        EXPECT_NE(0, access(gone, F_OK)) << gone;
    EXPECT_EQ(Lines{}, ProgramCalls()) << "without a pause";
    EXPECT_EQ(0, Stop());
}

TEST_F(Supervise, AnUpdateThatDiesEarlyGivesWay) {
    WriteFile("/tmp/new", shell_ + "B");
    Start(UpdateOnce(), "exit 1");
    WaitForRuns({"A -f file", "B -f file", "A -f file"});
    EXPECT_TRUE(shell_ + "A" == ReadFile("/tmp/agent"));
}

TEST_F(Supervise, RefusesWhatIsNoProgramForThisMachine) {
    std::string other_machine = shell_;
    other_machine[18] = static_cast<char>(other_machine[18] ^ 1);
    std::string other_class = shell_;
    other_class[4] = 1;
    std::string object_file = shell_;
    object_file[16] = 1;
    std::string wild_table = shell_;
    wild_table[47] = static_cast<char>(0x80);
    for (const std::string& content :
         {std::string("#!/bin/sh\nexit 1\n"), std::string(), shell_.substr(0, shell_.size() - 100),
          shell_.substr(0, 64), other_machine + "B", other_class + "B", object_file + "B", wild_table + "B",
          std::string("link")}) {
        Restore();
        unlink("/tmp/updated");
        unlink("/tmp/new");
        if (content == "link") {
            WriteFile("/tmp/elsewhere", shell_ + "B");
            ASSERT_EQ(0, symlink("/tmp/elsewhere", "/tmp/new"));
        } else {
            WriteFile("/tmp/new", content);
        }
        Start(UpdateOnce());
        WaitForRuns({"A -f file", "A -f file"});
        EXPECT_TRUE(shell_ + "A" == ReadFile("/tmp/agent"));
        EXPECT_NE(0, access("/tmp/agent.old", F_OK));
        EXPECT_NE(0, access("/tmp/agent.new", F_OK));
        EXPECT_EQ(0, Stop());
    }
}

TEST_F(Supervise, StartsLaterAndLaterWhileTheAgentDiesEarly) {
    Program("sleep", "[ \"$1\" -lt 60 ] || read line </tmp/gate");
    Start("exit 255");
    WaitUntil([] { return ProgramCalls().size() == 7; });
    EXPECT_EQ(
        (Lines{"sleep [1]", "sleep [2]", "sleep [4]", "sleep [8]", "sleep [16]", "sleep [32]", "sleep [60]"}),
        ProgramCalls());
    EXPECT_EQ(0, Stop()) << "a signal ends the pause";

    // One that lasts is started again after a second.
    ForgetProgramCalls();
    setenv("PLUG_EARLY", "0", 1);
    Program("sleep", "[ \"$(wc -l </tmp/program_calls)\" -lt 4 ] || read line </tmp/gate");
    Start("exit 255");
    WaitUntil([] { return ProgramCalls().size() == 4; });
    EXPECT_EQ(Lines(4, "sleep [1]"), ProgramCalls());
}

}  // namespace
}  // namespace plug::test
