// packaging/supervise with fake agents: copies of the shell that run a script, told apart by their last byte.
// And what stands around it: the signatures of updates, and OpenWrt's service.
#include <elf.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

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

/// In an agent's script: it is there, and this is its process.
constexpr char kUp[] = "echo $$ >/tmp/process\n";

// In the shells of Debian and of OpenWrt.
class Supervise : public Sandbox, public testing::WithParamInterface<const char*> {
  protected:
    Supervise() {
        setenv("PLUG_RUN", "/tmp/run", 1);
        setenv("PLUG_PUBLIC_KEY", "/tmp/plug.pub", 1);
        setenv("PLUG_SPREAD", "0", 1);
        prctl(PR_SET_CHILD_SUBREAPER, 1);
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
    /// The agent's process was waited for, else it would be ours by now.
    static void ExpectNoAgentLeft() {
        EXPECT_EQ(-1, waitpid(std::stoi(ReadFile("/tmp/process")), nullptr, WNOHANG));
    }

    /// Runs the shell under test with these words; its exit status.
    static int Shell(const std::string& words) {
        const std::string shell = GetParam() == std::string("sh") ? "sh " : "busybox ash ";
        return WEXITSTATUS(std::system((shell + words).c_str()));
    }
    /// What "supervise status" says, behind its exit status.
    std::string Status() const {
        const int result = Shell(supervise_ + " status >/tmp/status");
        return std::to_string(result) + "\n" + ReadFile("/tmp/status");
    }
    void WaitForStatus(const std::string& text) const {
        WaitUntil([&] { return Contains(Status(), text); });
    }

    static Lines Runs() { return ReadLines("/tmp/runs"); }
    static void WaitForRuns(const Lines& expected) {
        WaitUntil([&] { return Runs().size() >= expected.size(); });
        EXPECT_EQ(expected, Runs());
    }
    static void WaitForLine(const std::string& path) {
        WaitUntil([&] { return !ReadLines(path).empty(); });
    }

    // An agent that goes on, once its update is done. Somebody else may meddle with the download.
    static std::string UpdateOnce(const std::string& meddling = "") {
        return "[ -e /tmp/updated ] || { touch /tmp/updated; cp /tmp/new /tmp/plug_download\n" + meddling +
               "\necho 004 >/tmp/plugstatus; exit 255; }\nread line </tmp/gate";
    }

    const std::string shell_ = ReadFile("/bin/sh");
    std::string supervise_ = PLUG_SCRIPTS "supervise";
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
        ForgetProgramCalls();
    }
}

TEST_P(Supervise, AnUpdateIsJudgedByItsOwnFailures) {
    Program("sleep");
    WriteFile("/tmp/new", shell_ + "B");
    const std::string end_at_first = "[ $(grep -c B /tmp/runs) -gt 3 ] || ";
    const std::string no_network = "{ echo 102 >/tmp/plugstatus; exit 255; }\n";
    const std::string stay = "read line </tmp/gate\n";
    const struct {
        const char* proven;
        std::string script;
        int runs;
        bool back;
    } cases[] = {
        {"3600", "echo 102 >/tmp/plugstatus; exit 1", 1, true},
        {"3600", "kill -SEGV $$", 1, true},
        {"3600", "kill -KILL $$", 1, true},
        {"3600", "kill -HUP $$", 1, true},
        {"3600", end_at_first + no_network + stay, 4, false},
        {"3600", end_at_first + no_network + "echo 001 >/tmp/plugstatus; exit 255", 4, true},
        {"3600", end_at_first + "kill $$\n" + stay, 4, false},
        {"3600", no_network, 10, true},
        {"0", "[ $(grep -c B /tmp/runs) -gt 11 ] || " + no_network + stay, 12, false},
        {"0", end_at_first + "kill -SEGV $$\n" + stay, 4, false},
    };
    setenv("PLUG_EARLY", "0", 1);  // after its first half a minute, say
    for (const auto& expected : cases) {
        SCOPED_TRACE(std::string(expected.proven) + ": " + expected.script);
        Restore();
        setenv("PLUG_PROVEN", expected.proven, 1);
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
    std::string text = ReadFile(supervise_);
    const std::string start = "\"$@\" &\n";
    ASSERT_NE(std::string::npos, text.find(start));
    WriteFile("/tmp/supervise",
              text.replace(text.find(start), start.size(), start + "echo $! >/tmp/process\nkill $$\n"));
    supervise_ = "/tmp/supervise";
    setenv("PLUG_GRACE", "3600", 1);  // nor does it take long
    Start("read line </tmp/gate");
    EXPECT_EQ(0, WaitForEnd());
    ExpectNoAgentLeft();
}

TEST_P(Supervise, EndsWhenTheAgentHasEndedInOrder) {
    Start(
        "exec 3<>/tmp/gate\n"
        "trap 'echo asked >/tmp/order; read line <&3; echo done >/tmp/order; exit 143' TERM\n" +
        std::string(kUp) + "read line <&3");
    WaitForLine("/tmp/process");
    kill(supervisor_, SIGTERM);
    WaitForLine("/tmp/order");
    kill(supervisor_, SIGTERM);  // asked once more, it still waits
    WriteFile("/tmp/gate", "\n");
    EXPECT_EQ(0, WaitForEnd());
    EXPECT_EQ("done\n", ReadFile("/tmp/order"));
    ExpectNoAgentLeft();
}

TEST_P(Supervise, KillsAnAgentThatDoesNotEnd) {
    setenv("PLUG_GRACE", "0", 1);
    Start("trap '' TERM\n" + std::string(kUp) + "read line </tmp/gate");
    WaitForLine("/tmp/process");
    EXPECT_EQ(0, Stop());
    ExpectNoAgentLeft();
}

TEST_P(Supervise, RefusesWhatIsNoProgramForThisMachine) {
    std::string other_machine = shell_;
    other_machine[18] = static_cast<char>(other_machine[18] ^ 1);
    std::string stripped_and_cut = WithoutSections(shell_);
    stripped_and_cut.resize(stripped_and_cut.size() - 100);
    const std::string good = shell_ + "B";
    WriteFile("/tmp/elsewhere", good);
    const struct {
        std::string content;
        std::string refusal;
        std::string meddling = "";
    } cases[] = {
        {"#!/bin/sh\nexit 1\n", "no program"},
        {"", "no program"},
        {shell_.substr(0, shell_.size() - 100), "no program"},
        {other_machine + "B", "no program"},
        {stripped_and_cut, "no program"},
        {good, "no download of our own", "ln -sf /tmp/elsewhere /tmp/plug_download"},
        {good, "no download of our own", "ln -f /tmp/elsewhere /tmp/plug_download"},
        {good, "no download of our own", "chmod g+w /tmp/plug_download"},
        {good, "no download of our own", "chmod o+w /tmp/plug_download"},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.refusal + " " + expected.meddling);
        Restore();
        WriteFile("/tmp/new", expected.content);
        Start(UpdateOnce(expected.meddling));
        WaitForRuns({"A -f file", "A -f file"});
        EXPECT_TRUE(shell_ + "A" == ReadFile("/tmp/agent"));
        EXPECT_TRUE(Contains(ReadFile("/tmp/log"), expected.refusal));
        EXPECT_EQ(0, Stop());
    }
}

class SignedUpdate : public Supervise {
  protected:
    // Versions signed with the key of ours that is installed, and with another.
    SignedUpdate() {
        WriteFile("/tmp/b", shell_ + "B");
        const std::string sign = "sh " PLUG_SCRIPTS "sign ";
        const std::string generate = "openssl genpkey -out ";
        EXPECT_EQ(0, std::system(("cd /tmp && " + generate + "ours -algorithm ed25519 && " + generate +
                                  "theirs -algorithm ed25519 && " + generate + "other -algorithm ed448 && " +
                                  sign + "ours >ours.pub && " + sign + "ours b signed && " + sign +
                                  "theirs b foreign && ! " + sign + "ours signed twice 2>/dev/null && ! " +
                                  sign + "other >other.pub 2>/dev/null")
                                     .c_str()));
    }

    /// Updates to the file `new` that a script makes. It may change the key, too. Without a refusal it is
    /// installed, as it was signed.
    void Update(const std::string& make, const std::string& refusal) {
        SCOPED_TRACE(make);
        Restore();
        ASSERT_EQ(0,
                  std::system(("cd /tmp && cp --remove-destination ours.pub plug.pub && " + make).c_str()));
        Start(UpdateOnce(), "read line </tmp/gate");
        WaitForRuns({"A -f file", refusal.empty() ? "B -f file" : "A -f file"});
        EXPECT_TRUE(shell_ + (refusal.empty() ? "B" : "A") == ReadFile("/tmp/agent"));
        EXPECT_TRUE(Contains(ReadFile("/tmp/log"), refusal));
        if (!refusal.empty()) WaitForStatus(", " + refusal + "\n");
        EXPECT_EQ(0, Stop());
        EXPECT_TRUE(Contains(Status(), "trial:      none")) << "it ends with the supervisor";
    }
};

TEST_P(SignedUpdate, IsVerifiedOnceThereIsAKey) {
    const std::string wrong = "the signature is not by /tmp/plug.pub";
    // OpenBSD's program verifies as usign does. Whoever changes the download meanwhile is late.
    Program("usign", "echo 'something else' >/tmp/plug_download; exec signify-openbsd \"$@\"");
    for (int round = 0; round < 2; ++round) {
        Update("cp signed new", "");
        Update("cp signed new; rm plug.pub", "");
        Update("cp b new; rm plug.pub", "");
        Update("cp b new", "the download is not signed");
        Update("(cat signed; echo) >new", "the download is not signed");
        Update("cp foreign new", wrong);
        Update("(head -c 999 signed; printf x; tail -c +1001 signed) >new", wrong);
        Update("cp signed new; : >plug.pub", wrong);
        Update("cp signed new; ln -sf nowhere plug.pub", wrong);
        EXPECT_EQ(round == 0, !ProgramCalls().empty());
        unlink("/tmp/bin/usign");  // openssl takes its place
        ForgetProgramCalls();
    }
}

// OpenWrt has busybox's programs, without od, and usign.
TEST_P(SignedUpdate, NeedsNoMoreProgramsThanOpenWrtHas) {
    ASSERT_EQ(0, std::system("mkdir -p /tmp/bin && cd /tmp/bin && "
                             "for name in $(busybox --list) busybox; do ln -s /bin/busybox $name; done && "
                             "ln -sf /bin/sh sh && rm od && ln -s /usr/bin/signify-openbsd signify"));
    setenv("PATH", "/tmp/bin", 1);
    Update("cp signed new", "no program can verify the signature");
    Update("cp signed new; rm plug.pub", "");
    Update("cp signed new; ln -s signify bin/usign", "");
    Update("cp foreign new", "the signature is not by /tmp/plug.pub");
}

TEST_P(Supervise, WaitsByChanceAndLongerEachTime) {
    Program("sleep", "[ $1 = 0.1 ] || [ $(grep -c . /tmp/program_calls) -lt 8 ] || read line </tmp/gate");
    setenv("PLUG_SPREAD", "9", 1);
    Start("exit $(grep -c . /tmp/runs)");
    const std::vector<int> least{0, 1, 2, 4, 8, 16, 32, 60};  // the first one before the first start
    WaitUntil([&] { return ProgramCalls().size() == least.size(); });
    int by_chance = 0;
    for (std::size_t i = 0; i < least.size(); ++i) {
        const std::string call = ProgramCalls()[i];
        const int seconds = std::stoi(call.substr(strlen("sleep [")));
        EXPECT_LE(least[i], seconds);
        EXPECT_GE(2 * least[i] + 9, seconds);
        by_chance += seconds - least[i];
    }
    EXPECT_LT(0, by_chance);  // once in ten billion there is none
    EXPECT_TRUE(Contains(Status(), "running:    no, between two starts\n"));
    EXPECT_TRUE(Contains(Status(), "ended with 7 "));
    EXPECT_EQ(0, Stop()) << "a signal ends the pause";

    ForgetProgramCalls();
    Restore();
    setenv("PLUG_SPREAD", "1h", 1);  // no number: as if there were none
    Start("[ $(grep -c . /tmp/runs) -gt 1 ] || exit 255; read line </tmp/gate");
    WaitForRuns({"A -f file", "A -f file"});
    EXPECT_EQ(1U, ProgramCalls().size()) << "not the router's start, but the service's";
}

TEST_P(Supervise, TellsWhatRunsAndHowUpdatesWent) {
    EXPECT_EQ(
        "3\nrunning:    no, not since the router's start\ntrial:      none\n"
        "signatures: not needed, there is no /tmp/plug.pub\n",
        Status());
    WriteFile("/tmp/new", shell_ + "B");
    Start(UpdateOnce(), kUp + std::string("read line </tmp/gate; exit 7"));
    WaitForLine("/tmp/process");
    WaitForStatus("process " + ReadFile("/tmp/process"));
    const std::string on_trial = Status();
    EXPECT_EQ('0', on_trial[0]);
    for (const std::string& text :
         Lines{"0 h 0 min", "/tmp/agent, " + std::to_string(shell_.size() + 1) + " bytes, ",
               "trial:      for 60 min of running, or 10 ends without a verdict",
               "last end:   ", "ended with 255 after ", " s: installed a new version\n"})
        EXPECT_TRUE(Contains(on_trial, text)) << text << "\nin\n" << on_trial;

    WriteFile("/tmp/gate", "\n");
    WaitForRuns({"A -f file", "B -f file", "A -f file"});
    const std::string verdict = " s: the new version has failed, back to the old one\n";
    WaitForStatus(verdict);
    EXPECT_TRUE(Contains(Status(), "trial:      none"));
    EXPECT_EQ(0, Stop());
    EXPECT_TRUE(Status().starts_with("3\nrunning:    no\n"));

    setenv("PLUG_DEBUG", "1", 1);
    Start("read line </tmp/gate");
    WaitForRuns({"A -f file", "B -f file", "A -f file", "A -f file -d"});
    WaitForStatus("running:    since");
    EXPECT_TRUE(Contains(Status(), verdict)) << "by the supervisor before";
}

INSTANTIATE_TEST_SUITE_P(Shells, Supervise, testing::Values("sh", "busybox"),
                         [](const auto& shell) { return std::string(shell.param); });
INSTANTIATE_TEST_SUITE_P(SuperviseShells, SignedUpdate, testing::Values("sh", "busybox"),
                         [](const auto& shell) { return std::string(shell.param); });

/// What rc.common, uci and procd give to a service, as far as ours uses them. procd's calls are printed.
constexpr char kOpenWrt[] = R"sh(config_load() { . /tmp/uci; }
config_get() { eval "$1=\${uci_$3:-\${4-}}"; }
config_get_bool() { config_get "$@"; }
procd_open_instance() { :; }
procd_close_instance() { :; }
procd_set_param() { echo "$*"; }
procd_add_reload_trigger() { echo "reloads for $*"; }
. /tmp/plug.init
service_triggers
start_service
)sh";

class SuperviseOnOpenWrt : public Sandbox {};

TEST_F(SuperviseOnOpenWrt, TakesItsSettingsFromUciOrByHand) {
    const std::string by_hand = "[Protool]\nKEY=by hand\n";
    const std::string by_uci =
        "[Dev]\nPIN=123456789012\n[Protool]\nKEY=by uci\nSERVER1=192.0.2.10\nSERVER2=\nPORT=\n";
    const struct {
        std::string uci;
        std::string by_hand;
        std::string settings;  // of the two files
        std::string environment = "env PLUG_DEBUG=0 PLUG_SPREAD=120";
    } cases[] = {
        {"", by_hand, "/tmp/plug.conf"},
        {"uci_pin=123456789012 uci_key='by uci' uci_server1=192.0.2.10", by_hand, "/tmp/run/plug.conf"},
        {"uci_debug=1 uci_spread=600", by_hand, "/tmp/plug.conf", "env PLUG_DEBUG=1 PLUG_SPREAD=600"},
        {"uci_pin=123456789012", "KEY=\n", ""},
    };
    std::string init = ReadFile(PLUG_SCRIPTS "plug.init");
    for (const auto& [path, own] : {std::pair("=/etc/", "=/tmp/"), {"=/var/run/plug/", "=/tmp/run/"}})
        init.replace(init.find(path), strlen(path), own);
    WriteFile("/tmp/plug.init", init);
    WriteFile("/tmp/openwrt", kOpenWrt);
    for (const char* shell : {"sh", "busybox ash"}) {
        for (const auto& expected : cases) {
            SCOPED_TRACE(shell + (" with " + expected.uci));
            std::filesystem::remove_all("/tmp/run");
            WriteFile("/tmp/uci", expected.uci);
            WriteFile("/tmp/plug.conf", expected.by_hand);
            ASSERT_EQ(0, std::system((shell + std::string(" /tmp/openwrt >/tmp/calls 2>&1")).c_str()));
            const std::string calls = ReadFile("/tmp/calls");
            EXPECT_TRUE(Contains(calls, "reloads for plug\n"));
            EXPECT_EQ(!expected.settings.empty(),
                      Contains(calls, "plug-supervise /usr/sbin/plug -f " + expected.settings + "\n" +
                                          expected.environment + "\nfile " + expected.settings + "\n"))
                << calls;
            EXPECT_EQ(expected.settings.empty(), Contains(calls, "not started"));
            EXPECT_EQ(expected.settings.empty(), !Contains(calls, "command"));
            EXPECT_EQ(expected.by_hand, ReadFile("/tmp/plug.conf"));
            if (!expected.settings.starts_with("/tmp/run")) continue;
            EXPECT_EQ(by_uci, ReadFile(expected.settings));
            EXPECT_EQ(std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                      std::filesystem::status(expected.settings).permissions());
        }
    }
}

}  // namespace
}  // namespace plug::test
