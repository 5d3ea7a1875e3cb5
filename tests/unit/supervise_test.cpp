// packaging/supervise with fake agents: copies of the shell that run a script, told apart by their last byte.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "fakes/sandbox.h"

namespace {

using Lines = std::vector<std::string>;

class Supervise : public Sandbox {
  protected:
    void SetUp() override {
        Sandbox::SetUp();
        if (IsSkipped()) return;
        ASSERT_EQ(0, mkfifo("/tmp/gate", 0600));
        shell_ = Read("/bin/sh");
        Restore();
    }
    void TearDown() override { Stop(); }

    // Version A is in place and nothing was downloaded.
    void Restore() {
        for (const char* left : {"/tmp/plug_download", "/tmp/plugstatus", "/tmp/agent.old", "/tmp/runs"})
            unlink(left);
        Write("/tmp/agent", shell_ + "A");
        chmod("/tmp/agent", 0755);
    }

    // Starts the supervisor; its agent notes each run and its version, then does what the script of that
    // version says.
    void Start(const std::string& script_a, const std::string& script_b = "") {
        Write("/tmp/script",
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

    static Lines Runs() {
        Lines runs;
        const std::string text = Read("/tmp/runs");
        for (std::size_t at = 0, end = 0; (end = text.find('\n', at)) != text.npos; at = end + 1)
            runs.push_back(text.substr(at, end - at));
        return runs;
    }
    static void WaitForRuns(const Lines& expected) {
        WaitUntil([&] { return Runs().size() >= expected.size(); });
        EXPECT_EQ(expected, Runs());
    }

    // An agent that goes on, once its update is done.
    static std::string UpdateOnce() {
        return "[ -e /tmp/updated ] || { touch /tmp/updated; cp -P /tmp/new /tmp/plug_download; "
               "echo 004 >/tmp/plugstatus; exit 255; }\nread line </tmp/gate";
    }

    std::string shell_;
    pid_t supervisor_ = 0;
};

TEST_F(Supervise, InstallsAnUpdateAtOnce) {
    Program("sleep");
    Write("/tmp/new", shell_ + "B");
    Start(UpdateOnce(), "read line </tmp/gate");
    WaitForRuns({"A -f file", "B -f file"});
    EXPECT_TRUE(shell_ + "A" == Read("/tmp/agent.old"));
    EXPECT_TRUE(shell_ + "B" == Read("/tmp/agent"));
    for (const char* gone : {"/tmp/plug_download", "/tmp/plugstatus", "/tmp/agent.new", "/tmp/agent.keep"})
        EXPECT_NE(0, access(gone, F_OK)) << gone;
    EXPECT_EQ(Lines{}, Calls()) << "without a pause";
    EXPECT_EQ(0, Stop());
}

TEST_F(Supervise, AnUpdateThatDiesEarlyGivesWay) {
    Write("/tmp/new", shell_ + "B");
    Start(UpdateOnce(), "exit 1");
    WaitForRuns({"A -f file", "B -f file", "A -f file"});
    EXPECT_TRUE(shell_ + "A" == Read("/tmp/agent"));
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
            Write("/tmp/elsewhere", shell_ + "B");
            ASSERT_EQ(0, symlink("/tmp/elsewhere", "/tmp/new"));
        } else {
            Write("/tmp/new", content);
        }
        Start(UpdateOnce());
        WaitForRuns({"A -f file", "A -f file"});
        EXPECT_TRUE(shell_ + "A" == Read("/tmp/agent"));
        EXPECT_NE(0, access("/tmp/agent.old", F_OK));
        EXPECT_NE(0, access("/tmp/agent.new", F_OK));
        EXPECT_EQ(0, Stop());
    }
}

TEST_F(Supervise, StartsLaterAndLaterWhileTheAgentDiesEarly) {
    Program("sleep", "[ \"$1\" -lt 60 ] || read line </tmp/gate");
    Start("exit 255");
    WaitUntil([] { return Calls().size() == 7; });
    EXPECT_EQ(
        (Lines{"sleep [1]", "sleep [2]", "sleep [4]", "sleep [8]", "sleep [16]", "sleep [32]", "sleep [60]"}),
        Calls());
    EXPECT_EQ(0, Stop()) << "a signal ends the pause";

    // One that lasts is started again after a second.
    unlink("/tmp/calls");
    setenv("PLUG_EARLY", "0", 1);
    Program("sleep", "[ \"$(wc -l </tmp/calls)\" -lt 4 ] || read line </tmp/gate");
    Start("exit 255");
    WaitUntil([] { return Calls().size() == 4; });
    EXPECT_EQ(Lines(4, "sleep [1]"), Calls());
}

}  // namespace
