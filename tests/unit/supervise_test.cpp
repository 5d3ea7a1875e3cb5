// packaging/supervise with fake agents: copies of the shell that run a script, told apart by their last byte.
#include <elf.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "support/sandbox.h"

namespace plug::test {
namespace {

/// The program as OpenWrt strips it: its file ends with its last segment.
std::string WithoutSections(std::string file) {
    auto& head = *reinterpret_cast<Elf64_Ehdr*>(file.data());
    head.e_shoff = head.e_shentsize = head.e_shnum = head.e_shstrndx = 0;
    const auto* const segments = reinterpret_cast<const Elf64_Phdr*>(file.data() + head.e_phoff);
    std::size_t end = 0;
    for (std::size_t i = 0; i < head.e_phnum; ++i)
        end = std::max(end, segments[i].p_offset + segments[i].p_filesz);
    return file.substr(0, end);
}

// In the shells of Debian and of OpenWrt.
class Supervise : public Sandbox, public testing::WithParamInterface<const char*> {
  protected:
    Supervise() {
        EXPECT_EQ(0, mkfifo("/tmp/gate", 0600));
        Restore();
    }
    void TearDown() override { Stop(); }

    // Version A is in place, in a new file as the old one may still run, and nothing was downloaded.
    void Restore() {
        for (const char* left : {"/tmp/agent", "/tmp/agent.old", "/tmp/plug_download", "/tmp/plugstatus",
                                 "/tmp/runs", "/tmp/updated"})
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
        if (freopen("/tmp/log", "w", stderr) == nullptr) _exit(126);
        execlp(GetParam(), "ash", supervise_.c_str(), "/tmp/agent", "/tmp/script", "-f", "file", nullptr);
        _exit(127);
    }

    int Stop() {
        if (supervisor_ <= 0) return -1;
        kill(supervisor_, SIGTERM);
        return WaitForEnd();
    }
    int WaitForEnd() {
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
    std::string supervise_ = PLUG_SUPERVISE;
    pid_t supervisor_ = 0;
};

TEST_P(Supervise, InstallsAnUpdateAtOnce) {
    Program("sleep");
    for (const std::string& update : {shell_ + "B", WithoutSections(shell_) + "B"}) {
        Restore();
        WriteFile("/tmp/new", update);
        Start(UpdateOnce(), "read line </tmp/gate");
        WaitForRuns({"A -f file", "B -f file"});
        EXPECT_TRUE(shell_ + "A" == ReadFile("/tmp/agent.old"));
        EXPECT_TRUE(update == ReadFile("/tmp/agent"));
        EXPECT_NE(0, access("/tmp/plug_download", F_OK));
        EXPECT_EQ(Lines{}, ProgramCalls()) << "without a pause";
        EXPECT_EQ(0, Stop());
    }
}

TEST_P(Supervise, AnUpdateIsJudgedByItsOwnFailures) {
    Program("sleep");
    WriteFile("/tmp/new", shell_ + "B");
    const std::string end_at_first = "[ $(grep -c B /tmp/runs) -gt 3 ] || ";
    const std::string no_network = "{ echo 102 >/tmp/plugstatus; exit 255; }\n";
    const std::string stay = "read line </tmp/gate\n";
    const struct {
        const char* early;
        std::string script;
        int runs;
        bool back;
    } cases[] = {
        {"30", "echo 102 >/tmp/plugstatus; exit 1", 1, true},
        {"30", end_at_first + no_network + stay, 4, false},
        {"30", end_at_first + no_network + "echo 001 >/tmp/plugstatus; exit 255", 4, true},
        {"30", end_at_first + "kill $$\n" + stay, 4, false},
        {"30", no_network, 10, true},
        {"0", "[ $(grep -c B /tmp/runs) -gt 11 ] || " + no_network + stay, 12, false},
        {"0", end_at_first + "exit 1\n" + stay, 4, false},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(std::string(expected.early) + ": " + expected.script);
        Restore();
        setenv("PLUG_EARLY", expected.early, 1);
        Start(UpdateOnce(), expected.script);
        Lines runs{"A -f file"};
        runs.insert(runs.end(), static_cast<std::size_t>(expected.runs), "B -f file");
        if (expected.back) runs.emplace_back("A -f file");
        WaitForRuns(runs);
        EXPECT_TRUE(shell_ + (expected.back ? "A" : "B") == ReadFile("/tmp/agent"));
        EXPECT_EQ(0, Stop());
    }
}

TEST_P(Supervise, ASignalRightAfterTheStartEndsTheAgentToo) {
    std::string text = ReadFile(PLUG_SUPERVISE);
    const std::string start = "\"$@\" &\n";
    ASSERT_NE(std::string::npos, text.find(start));
    WriteFile("/tmp/supervise", text.replace(text.find(start), start.size(), start + "kill $$\n"));
    supervise_ = "/tmp/supervise";
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    Start("read line </tmp/gate");
    EXPECT_EQ(0, WaitForEnd());
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG)) << "an agent is left";
}

TEST_P(Supervise, RefusesWhatIsNoProgramForThisMachine) {
    std::string other_machine = shell_;
    other_machine[18] = static_cast<char>(other_machine[18] ^ 1);
    std::string stripped_and_cut = WithoutSections(shell_);
    stripped_and_cut.resize(stripped_and_cut.size() - 100);
    for (const std::string& content :
         {std::string("#!/bin/sh\nexit 1\n"), std::string(), shell_.substr(0, shell_.size() - 100),
          other_machine + "B", stripped_and_cut, std::string("link")}) {
        Restore();
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
        EXPECT_TRUE(
            Contains(ReadFile("/tmp/log"), content == "link" ? "no download of our own" : "no program"));
        EXPECT_EQ(0, Stop());
    }
}

TEST_P(Supervise, StartsLaterAndLaterWhileTheAgentDiesEarly) {
    Program("sleep", "[ \"$1\" -lt 60 ] || read line </tmp/gate");
    Start("exit 255");
    WaitUntil([] { return ProgramCalls().size() == 7; });
    EXPECT_EQ(
        (Lines{"sleep [1]", "sleep [2]", "sleep [4]", "sleep [8]", "sleep [16]", "sleep [32]", "sleep [60]"}),
        ProgramCalls());
    EXPECT_EQ(0, Stop()) << "a signal ends the pause";
}

INSTANTIATE_TEST_SUITE_P(Shells, Supervise, testing::Values("sh", "busybox"),
                         [](const auto& shell) { return std::string(shell.param); });

}  // namespace
}  // namespace plug::test
