#include "faults/session.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>

#include "bench/agent_process.h"
#include "bench/http_server.h"
#include "bench/layout.h"
#include "bench/local_peer.h"
#include "bench/router_state.h"
#include "bench/sandbox.h"
#include "preload/test_clock.h"

namespace plug::faults {
namespace {

using namespace plug::bench;  // NOLINT: written in its words

constexpr char kFaultsFile[] = "/tmp/faults";
constexpr char kClockFile[] = "/tmp/clock";
constexpr char kStatusFile[] = "/tmp/plugstatus";
constexpr char kDownload[] = "/tmp/plug_download";
constexpr char kTracerouteDone[] = "Exit killTrace";

constexpr MacAddress kRouterMac = {0x00, 0x00, 0x5E, 0x00, 0x53, 0x01};
constexpr MacAddress kDevice = {0x00, 0x00, 0x5E, 0x00, 0x53, 0xB1};
constexpr int kSpeed = 20;           // of the agent's clock
constexpr int kHopelessSpeed = 100;  // when nothing is to come but its end
constexpr int kStepsDone = 201;      // seconds after the login when all that is due at a step is done

constexpr Milliseconds kShort{4000};      // for an answer that may never come
constexpr Milliseconds kPatience{20000};  // for what must come
constexpr int kAttempts = 4;
constexpr Milliseconds kOrder{2500};       // in which an end in order is over
constexpr Milliseconds kOrderlyEnd{6000};  // what a loaded machine adds
constexpr Milliseconds kRest{300};
constexpr double kMostBusy = 0.7;  // of a thread's time
constexpr int kTermStatus = 128 + SIGTERM;
constexpr int kOwnEnd = 255;

/// What no fault excuses.
struct Bad : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/// The agent is gone.
struct Gone {};

/// The file that the agent's fault library maps.
class SharedFile {
  public:
    SharedFile() {
        WriteFile(kFaultsFile, "");
        std::filesystem::resize_file(kFaultsFile, sizeof(FaultFile));
        const int descriptor = open(kFaultsFile, O_RDWR | O_CLOEXEC);
        void* const mapped =
            mmap(nullptr, sizeof(FaultFile), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
        close(descriptor);
        if (mapped == MAP_FAILED) throw std::runtime_error("the fault file cannot be mapped");
        file_ = new (mapped) FaultFile;
    }
    FaultFile* operator->() const { return file_; }

  private:
    FaultFile* file_;
};

std::string ListOf(const Json& element) {
    return Json{{"LIST", Json::array({element})}}.dump();
}

ByteVector Counted(std::string_view text) {
    std::array<std::uint8_t, 2> count;
    ByteWriter(count).U16(static_cast<std::uint16_t>(text.size()));
    return Join({count, AsBytes(text)});
}

std::size_t Entries(const std::string& folder) {
    const auto all = std::filesystem::directory_iterator(folder);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

class Session {
  public:
    Session(const Fault& fault, const Holdings& usual) : fault_(fault), usual_(usual) {}

    Result Run() {
        Result result;
        try {
            Begin();
            try {
                fault_.script == Script::kService ? Serve() : Update();
            } catch (const Gone&) {
                JudgeEnd();
            }
            result.ending = shared_->failed == 0 && !fault_.function.empty() ? Ending::kUnseen
                            : ended_                                         ? Ending::kEnded
                                                                             : Ending::kAnswered;
            LookAtTraces();
        } catch (const std::exception& bad) {
            result.ending = Ending::kBad;
            note_ = bad.what();
            if (agent_->Running()) threads_ = Threads();
        }
        result.note = note_;
        result.log = agent_->Output() + threads_;
        result.holdings = holdings_;
        result.places.assign(shared_->place.begin(), shared_->place.begin() + shared_->places.load());
        return result;
    }

  private:
    // A step of the script. An empty text when all went well, or what failed.
    using Step = std::string (Session::*)();

    void Begin() {
        std::copy(fault_.function.begin(), fault_.function.end(), shared_->function.begin());
        shared_->frames = fault_.frames;
        shared_->failure = fault_.failure;
        shared_->from = fault_.call;
        shared_->until = fault_.lasting ? UINT32_MAX : fault_.call;
        ReplaceProgram("iptables", "echo \"$@\" >> /tmp/iptables.log");
        ReplaceProgram("killall", "exec pkill -x \"$1\" --ns $$ --nslist net \"$2\"");  // ours only
        AgentSetup setup = SetupFor(platform_);
        setup.server1 = "plug1.example.com";
        setup.server2 = "plug2.example.com";
        setup.arguments = {"-d"};
        const std::string folder = ProgramFolder() + "/";
        // A sanitizer wants to come first, but goes well behind the preloads.
        setup.environment = {
            "TZ=UTC", "LD_PRELOAD=" + folder + "libagent_preload.so " + folder + "libplug_faults.so",
            "ASAN_OPTIONS=verify_asan_link_order=0", std::string(preload::kClockVariable) + "=" + kClockFile,
            std::string(kFileVariable) + "=" + kFaultsFile};
        Behaviour behaviour;
        behaviour.interval = 600;  // so that a clock that is set forward costs no link
        platform_.Behave(behaviour);
        clock_.Run(kSpeed);
        agent_ = StartAgent(setup);
    }

    // --- the scripts ---

    static const std::vector<Step> kSteps;

    /// Everything once while the fault may come, then everything again, which must go well.
    void Serve() {
        patience_ = kShort;
        if (AwaitLogin(kPatience)) {
            for (const Step step : kSteps) {
                const std::string failed = Try(step);
                if (!failed.empty() && note_.empty()) note_ = failed;
                if (!failed.empty() && !AwaitLogin(patience_)) break;
            }
        }
        if (fault_.lasting && shared_->failed > 0) ExpectCalm();
        if (!LoggedIn()) GiveUpHope();
        if (fault_.lasting && shared_->failed > 0) shared_->until = 0;
        patience_ = kPatience;
        for (const Step step : kSteps) MustGoWell(step);
        ExpectHoldings();
        ExpectCalm();
        ExpectOrderlyEnd();
    }

    /// An update ends the agent, or says that it failed and is tried again.
    void Update() {
        if (!AwaitLogin(kPatience)) GiveUpHope();
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            if (attempt > 1) shared_->until = 0;
            AwaitLogin(kPatience);
            Order(Md5(http_.content()));
            const auto end = [&] { return !agent_->Running() || Status() == "104\n"; };
            WaitUntil(end, kPatience);
            WaitUntil([&] { return !agent_->Running(); }, kShort);
            CheckAlive();
            note_ = "the update failed " + std::to_string(attempt + 1) + " times";
        }
        throw Bad("no update goes well");
    }

    /// Nobody is logged in: either the agent ends itself soon, or it goes on trying, and then succeeds once
    /// nothing fails any more.
    void GiveUpHope() {
        clock_.Run(kHopelessSpeed);
        WaitUntil([&] { return LoggedIn() || !agent_->Running(); }, kPatience);
        CheckAlive();
        shared_->until = 0;
        clock_.Run(kSpeed);
        if (!AwaitLogin(kPatience)) throw Bad("does not log in again");
    }

    void MustGoWell(Step step) {
        std::string failed;
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            if (!AwaitLogin(kPatience)) throw Bad("does not log in again");
            failed = Try(step);
            if (failed.empty()) return;
            if (attempt > 0) shared_->until = 0;  // a place of the second round
        }
        throw Bad("again and again: " + failed);
    }

    std::string Try(Step step) {
        CheckAlive();
        std::string failed = (this->*step)();
        CheckAlive();
        return failed;
    }

    // --- the steps ---

    std::string Question() {
        return Ask(47, {}, [](const LinkEvent& answer) { return answer.Word(6) == 12; });
    }

    std::string Peer() {
        if (WithoutLocalSocket()) return "";
        if (!peer_.Connect(patience_)) return "no local socket";
        auto requests = peer_.FromNow();
        peer_.AskState();
        const auto state = requests.WaitFor(IsRequest(998), patience_);
        clock_.JumpAhead(kStepsDone);
        return state ? "" : "the local peer is not served";
    }
    std::string Relay() { return WithoutLocalSocket() ? "" : Ask(73); }
    std::string AutoReport() {
        if (WithoutLocalSocket()) return "";
        auto requests = peer_.FromNow();
        const std::string failed =
            Ask(88, Counted(R"({"timestamp":1,"referNum":5,"interval1":1,"interval2":0,"interval3":0})"));
        if (!failed.empty()) return failed;
        return requests.WaitFor(IsRequest(88), patience_) ? "" : "no settings for the local peer";
    }
    std::string Report() {
        if (WithoutLocalSocket()) return "";
        Cursor reports = platform_.FromNow();
        peer_.Send(84, AsBytes("report"));
        const auto report = reports.WaitFor(IsReport(84), patience_);
        if (!report) return "no report of the local peer";
        if (!report->text().ends_with("report")) throw Bad("a wrong report");
        return "";
    }
    std::string Scan() {
        Cursor reports = platform_.FromNow();
        const std::string failed = Ask(64);
        if (!failed.empty()) return failed;
        return reports.WaitFor(IsReport(63), patience_) ? "" : "no report of the scan";
    }
    std::string Limit() {
        const int limit = ++round_;
        const std::string failed = Ask(66, AsBytes(ListOf({{"FLAG", "1"},
                                                           {"MAC", TextOf(kDevice).data()},
                                                           {"UP", std::to_string(limit)},
                                                           {"DOWN", "2048"}})));
        if (!failed.empty()) return failed;
        Json home = RouterState("/tmp/router.json").Read();
        return RouterState::FindDevice(home, kDevice)->at("up_limit") == limit ? "" : "no limit was set";
    }
    std::string Window() {
        const Json rule = {{"MAC", TextOf(kDevice).data()},
                           {"DAY", "1234567"},
                           {"START", "0:00"},
                           {"STOP", "23:59"},
                           {"ALLOW", "0"}};
        Json add = rule;
        Json remove = rule;
        add["FLAG"] = "1";
        remove["FLAG"] = "0";
        const std::string failed = Ask(69, AsBytes(ListOf(add)));
        clock_.JumpAhead(30);  // a look at the clock
        return failed.empty() ? Ask(69, AsBytes(ListOf(remove))) : failed;
    }
    std::string Forward() {
        const std::size_t before = ReadFile("/tmp/iptables.log").size();
        Cursor replies = platform_.FromNow();
        platform_.SendPlugData(kRouterMac, 9,
                               R"({"FLAG":"1","PRE_IP":"203.0.113.24","PRE_PORT":"8080",)"
                               R"("POST_IP":"192.168.1.20","POST_PORT":"80"})");
        const auto reply = replies.WaitFor(IsPlugReply(kRouterMac), patience_);
        if (!reply) return "no reply to the port forward";
        if (reply->code != 0) return "port forward " + std::string(reply->text());
        return ReadFile("/tmp/iptables.log").size() > before + 300 ? "" : "no iptables";
    }
    std::string Ping() {
        const std::string failed = Ask(8, Target());
        if (!failed.empty()) return Logged("popen failed") ? "" : failed;  // it stays busy
        std::string text;
        const auto fetched = [&] { return Ask(9, {}, {}, &text).empty() || Logged("popen failed"); };
        if (!WaitUntil(fetched, patience_)) return "ping stays busy";
        return text.find("1 received") != std::string::npos || Logged("popen failed") ? "" : "no ping";
    }
    std::string Trace() {
        const std::size_t from = agent_->Output().size();
        const std::string failed = Ask(51, Target());
        if (!failed.empty()) return failed;
        agent_->WaitForOutput(kTracerouteDone, patience_, from);
        std::string text;
        const std::string fetch = Ask(52, {}, {}, &text);
        if (!fetch.empty()) return fetch;
        return text.find(" 1  127.0.0.1") != std::string::npos ? "" : "no traceroute";
    }
    std::string RateTest() {
        Cursor reports = platform_.FromNow();
        const std::string failed = Ask(87, Counted(Json{{"value_func61", http_.Url("rate")}}.dump()));
        if (!failed.empty()) return failed;
        const auto report = reports.WaitFor(IsAnswer(62), patience_);
        if (!report) return "no rate";
        return report->result() == 0 ? "" : "the rate test failed";
    }
    /// An update with another checksum must be refused.
    std::string Refuse() {
        Cursor reports = platform_.FromNow();
        Order(Md5("another"));
        const auto report = reports.WaitFor(IsReport(3), patience_);
        if (Status() == "004\n") throw Bad("a wrong file is an update");
        if (!report) return "no report of the update";
        if (Json::parse(report->text()).at("result") != -1) throw Bad("a wrong file is an update");
        if (!WaitUntil([] { return Status() == "104\n"; }, patience_)) return "no status of the update";
        return std::filesystem::exists(kDownload) ? "a wrong file is left" : "";
    }
    std::string LoseLink() {
        const auto logins = [&] { return platform_.Find(kRouterMac)->logins; };
        const int before = logins();
        platform_.Drop(kRouterMac);
        if (!WaitUntil([&] { return logins() > before; }, kPatience)) return "no login after a lost link";
        return Question();
    }

    // --- what they are made of ---

    static ByteVector Target() {
        ByteVector target(24);
        ByteWriter writer(target);
        writer.Copy(std::array<std::uint8_t, 4>{127, 0, 0, 1});
        writer.Zeros(16);
        writer.U16(56);
        writer.U16(1);
        return target;
    }

    /// A command; what is wrong with its answer. A good one that is not `right` is bad.
    std::string Ask(std::uint16_t id, ConstBytes parameters = {}, const EventMatch& right = {},
                    std::string* text = nullptr) {
        const auto answer = platform_.Ask(kRouterMac, id, parameters, patience_);
        const std::string name = "command " + std::to_string(id);
        if (!answer) return name + " is not answered";
        if (answer->code != 0 || !answer->has_echo()) return name + " is refused";
        if (answer->result() != 0) return name + " has result " + std::to_string(answer->result());
        if (right && !right(*answer)) throw Bad("a wrong answer to " + name);
        if (text != nullptr) *text = answer->text();
        return "";
    }
    void Order(const std::string& md5) {
        const Json order = {{"pluginID", "p"}, {"fromVersion", "1"}, {"toVersion", "2"}, {"url", http_.Url()},
                            {"fileLength", 1}, {"fileMD5", md5},     {"token", "t"}};
        platform_.SendPlugData(kRouterMac, 2, order.dump());
    }
    bool Logged(const std::string& text) const { return agent_->Output().find(text) != std::string::npos; }
    /// It has said that it could not listen, and does its other work until it is started again.
    bool WithoutLocalSocket() const {
        return Logged("Create socket failed\n") || Logged("bind failed") || Logged("listen failed");
    }
    static std::string Status() { return ReadFile(kStatusFile); }

    bool LoggedIn() const {
        const auto agent = platform_.Find(kRouterMac);
        return agent && agent->logged_in && agent->heartbeats > 0;
    }
    bool AwaitLogin(Milliseconds patience) {
        WaitUntil([&] { return LoggedIn() || !agent_->Running(); }, patience);
        CheckAlive();
        return LoggedIn();
    }
    void CheckAlive() {
        if (!agent_->Running()) throw Gone();
    }

    // --- what is looked at ---

    /// It ended itself: only as it is documented.
    void JudgeEnd() {
        agent_->WaitForEnd(kShort);
        const int status = agent_->WaitExit(Milliseconds(0)).value_or(0);
        const std::string said = Status().substr(0, 3);
        note_ = EndingText(status) + ", " + said;
        const bool update = said == "004" && fault_.script == Script::kUpdate;
        const bool unset = said == "001" && Logged("is empty, plese check your plug.conf");
        if (status != kOwnEnd || (said != "102" && !update && !unset)) throw Bad(note_);
        ended_ = !update;
        if (update && ReadFile(kDownload) != http_.content()) throw Bad("the update is not what was served");
    }
    /// What each thread is at: its name, its state and the system call that it is in.
    std::string Threads() const {
        std::string all;
        for (const auto& task : Tasks()) {
            const std::string stat = ReadFile(task.path() / "stat");
            all += stat.substr(0, stat.find(')') + 3) + " in " + ReadFile(task.path() / "syscall");
        }
        return all;
    }
    std::filesystem::directory_iterator Tasks() const {
        return std::filesystem::directory_iterator("/proc/" + std::to_string(agent_->pid()) + "/task");
    }
    void LookAtTraces() {
        const std::string log = agent_->Output();
        for (const char* trace : {"Sanitizer", "runtime error:"})
            if (log.find(trace) != std::string::npos) throw Bad(log.substr(log.find(trace), 200));
        Cursor all = platform_.FromStart();
        while (const auto event = all.Next(Milliseconds(0)))
            if (event->kind == EventKind::kBadFrame) throw Bad("a malformed frame: " + event->note);
    }
    /// In true time each thread of an agent at rest sleeps; however loaded the machine is, one that does not
    /// either runs or waits for a processor.
    void ExpectCalm() {
        clock_.Run(1);
        const auto busy = [&] {
            std::map<std::string, double> times;
            for (const auto& task : Tasks()) {
                double ran = 0;
                double waited = 0;
                std::istringstream(ReadFile(task.path() / "schedstat")) >> ran >> waited;
                times[task.path().filename()] = ran + waited;
            }
            return times;
        };
        const auto rests = [&] {
            auto before = busy();
            std::this_thread::sleep_for(kRest);
            const double most = kMostBusy * static_cast<double>(kRest.count()) * 1e6;
            const auto after = busy();
            return std::ranges::none_of(
                after, [&](const auto& thread) { return thread.second - before[thread.first] > most; });
        };
        const bool calm = rests() || rests() || rests() || rests();
        CheckAlive();
        if (!calm) throw Bad("busy without end");
        clock_.Run(kSpeed);
    }
    /// The order is over within three seconds, or it ends all the same, in whatever order. Without the thread
    /// that waits for signals it ends at once.
    void ExpectOrderlyEnd() {
        const bool in_order = Threads().find("(signals)") != std::string::npos;
        clock_.Run(1);
        agent_->Signal(SIGTERM);
        auto status = agent_->WaitExit(kOrder);
        if (!status) threads_ = Threads();
        status = agent_->WaitExit(kOrderlyEnd);
        if (!status) throw Bad("hangs after TERM");
        if (*status != kTermStatus) throw Bad("after TERM it " + EndingText(*status));
        agent_->WaitForEnd(kShort);
        if (!in_order) return;
        if (!Logged("Stop Eaccess success")) throw Bad("no end in order");
        if (std::filesystem::exists(kCommServerPath) && fault_.function != "unlink")
            throw Bad("leaves its local socket");
    }
    /// It holds no more than without a fault.
    void ExpectHoldings() {
        const std::string process = "/proc/" + std::to_string(agent_->pid());
        const auto look = [&] {
            holdings_ = {static_cast<int>(Entries(process + "/fd")),
                         static_cast<int>(Entries(process + "/task"))};
            return holdings_.descriptors <= usual_.descriptors && holdings_.threads <= usual_.threads;
        };
        if (usual_.descriptors == 0) {
            std::this_thread::sleep_for(kShort);
            look();
        } else if (!WaitUntil(look, kPatience)) {
            throw Bad("has " + std::to_string(holdings_.descriptors) + " descriptors and " +
                      std::to_string(holdings_.threads) + " threads instead of " +
                      std::to_string(usual_.descriptors) + " and " + std::to_string(usual_.threads));
        }
    }

    const Fault fault_;
    const Holdings usual_;
    Holdings holdings_;
    std::string note_;
    std::string threads_;  // when it went wrong
    bool ended_ = false;
    int round_ = 0;
    Milliseconds patience_ = kShort;
    SharedFile shared_;
    preload::TestClock clock_{kClockFile};
    Platform platform_;
    LocalPeer peer_;
    HttpServer http_{std::string(20'000, 'p')};
    std::unique_ptr<Process> agent_;
};

const std::vector<Session::Step> Session::kSteps = {
    &Session::Question, &Session::Peer,     &Session::Relay,  &Session::AutoReport, &Session::Report,
    &Session::Scan,     &Session::Limit,    &Session::Window, &Session::Forward,    &Session::Ping,
    &Session::Trace,    &Session::RateTest, &Session::Refuse, &Session::LoseLink,
};

}  // namespace

Result RunSession(const Fault& fault, const Holdings& usual) {
    EnterSandbox("127.0.0.1 localhost plug1.example.com plug2.example.com\n");
    Session session(fault, usual);
    return session.Run();
}

}  // namespace plug::faults
