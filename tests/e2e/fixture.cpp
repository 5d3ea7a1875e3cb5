#include "fixture.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <stdexcept>

#include "bench/sandbox.h"
#include "log_authors.h"

namespace plug::e2e {
namespace {

constexpr char kStatusesFile[] = "/tmp/statuses";
constexpr char kClockFile[] = "/tmp/clock";

[[noreturn]] void GiveUp(const std::string& what) {
    throw std::runtime_error(what);
}

std::string Variable(const char* name) {
    const char* const value = getenv(name);
    return value != nullptr ? value : "";
}

/// Every place of a text.
std::vector<std::size_t> Find(const std::string& log, const std::string& text) {
    std::vector<std::size_t> places;
    for (std::size_t at = 0; (at = log.find(text, at)) != std::string::npos; at += text.size())
        places.push_back(at);
    return places;
}

/// The last time stamp of a log entry at or before an offset; -1 when there is none.
std::int64_t StampBefore(const std::string& log, std::size_t at) {
    for (std::size_t begin = at + 1; begin-- > 0;) {
        std::tm time{};
        int end = -1;
        sscanf(log.c_str() + begin, "%d-%d-%d %d:%d:%d [%n", &time.tm_year, &time.tm_mon, &time.tm_mday,
               &time.tm_hour, &time.tm_min, &time.tm_sec, &end);
        if (end < 0 || time.tm_year < 2000) continue;
        time.tm_year -= 1900;
        time.tm_mon -= 1;
        return timegm(&time);
    }
    return -1;
}

}  // namespace

std::string Emulator() {
    return Variable("PLUG_TEST_EMULATOR");
}

void AgentTest::SetUp() {
    setup_.binary = Variable("PLUG_TEST_AGENT");
    if (setup_.binary.empty()) setup_.binary = ProgramFolder() + "/plug";
    const std::string folder = std::filesystem::path(setup_.binary).parent_path();
    EnterSandbox("127.0.0.1 localhost\n");
    setup_.arguments = {"-d"};
    // A sanitizer wants to come first, but goes well behind the preload.
    const std::string preload = "LD_PRELOAD=" + folder + "/libagent_preload.so";
    setup_.environment = {"TZ=UTC", Emulator().empty() ? preload : "QEMU_SET_ENV=" + preload,
                          "ASAN_OPTIONS=verify_asan_link_order=0",
                          std::string(preload::kClockVariable) + "=" + kClockFile,
                          std::string(preload::kStatusesVariable) + "=" + kStatusesFile};
    clock_ = std::make_unique<preload::TestClock>(kClockFile);
}

void AgentTest::TearDown() {
    StopAgent();
    if (!platform_) return;
    Cursor all = platform_->FromStart();
    while (const auto event = all.Next(Milliseconds(0)))
        EXPECT_NE(EventKind::kBadFrame, event->kind) << event->note << ": " << ToHex(event->frame);
}

void AgentTest::StartPlatform() {
    platform_ = std::make_unique<Platform>();
    Behave();
    cursor_ = platform_->FromStart();
    const AgentSetup pointed = SetupFor(*platform_);
    setup_.key = pointed.key;
    setup_.server1 = pointed.server1;
    setup_.port = pointed.port;
}

void AgentTest::RunFast(int factor) {
    speed_ = factor;
    clock_->Run(factor);
}

void AgentTest::JumpAhead(std::int64_t seconds) {
    clock_->JumpAhead(seconds);
}

void AgentTest::StartAgent() {
    StopAgent();
    ProcessSpec command = AgentCommand(setup_);
    if (!Emulator().empty()) command.argv.insert(command.argv.begin(), Emulator());
    agent_ = std::make_unique<Process>(command);
}

void AgentTest::LogIn() {
    if (!platform_) StartPlatform();
    StartAgent();
    Await(EventKind::kHeartbeat);
    ReadStatuses();
    EXPECT_TRUE(statuses_.ends_with("003 ")) << statuses_;
    statuses_.clear();
}

void AgentTest::StopAgent() {
    if (!agent_) return;
    agent_->Kill();
    agent_->WaitForEnd(Milliseconds(1000));
    const std::string output = agent_->Output();
    agent_.reset();
    EXPECT_EQ(std::string::npos, output.find("Sanitizer"));
    EXPECT_EQ(std::string::npos, output.find("runtime error:"));
    EXPECT_EQ("", ForeignAuthors(output));
    if (HasFailure()) std::cout << "--- the agent's output ---\n" << output << "--- end ---" << std::endl;
    ReadStatuses();
    statuses_.clear();
}

int AgentTest::AwaitExit() {
    const auto status = agent_->WaitExit(kPatience);
    if (!status) GiveUp("the agent still runs");
    agent_->WaitForEnd(kPatience);
    return *status;
}

PeerEvent AgentTest::Connect(LocalPeer& peer) {
    if (!peer.Connect() || !peer.AskState()) GiveUp("no connection to the local socket");
    auto state = peer.WaitFor(IsRequest(998), kPatience);
    if (!state) GiveUp("the local peer was not told the state");
    return *state;
}

std::map<std::string, pid_t> AgentTest::Threads() const {
    std::map<std::string, pid_t> threads;
    const std::filesystem::directory_iterator tasks("/proc/" + std::to_string(agent_->pid()) + "/task");
    for (const auto& task : tasks) {
        const std::string name = ReadFile(task.path() / "comm");
        threads[name.substr(0, name.find('\n'))] = std::stoi(task.path().filename());
    }
    return threads;
}

void AgentTest::ReadStatuses() {
    const std::string all = ReadFile(kStatusesFile);
    for (const char byte : all.substr(statuses_read_)) statuses_ += byte == '\n' ? ' ' : byte;
    statuses_read_ = all.size();
}

void AgentTest::AwaitStatuses(const std::string& codes) {
    const std::string wanted = codes + " ";
    WaitUntil(
        [&] {
            ReadStatuses();
            return statuses_.size() >= wanted.size();
        },
        kPatience);
    if (!statuses_.starts_with(wanted)) GiveUp("statuses " + statuses_ + "instead of " + codes);
    statuses_.erase(0, wanted.size());
}

void AgentTest::AwaitLog(const std::string& text, int count) {
    std::size_t from = 0;
    while (count-- > 0) {
        const auto end = agent_->WaitForOutput(text, kPatience, from);
        if (!end) GiveUp("not logged: " + text);
        from = *end;
    }
}

void AgentTest::ExpectLogged(const std::string& text, int count) {
    AwaitLog(text, count);
    EXPECT_EQ(count, CountLog(text)) << text;
}

int AgentTest::CountLog(const std::string& text) const {
    return static_cast<int>(Find(agent_->Output(), text).size());
}

std::int64_t AgentTest::LoggedAt(const std::string& text, int nth) {
    AwaitLog(text, std::max(nth, 1));
    const std::string log = agent_->Output();
    const std::vector<std::size_t> places = Find(log, text);
    return StampBefore(log, places[nth > 0 ? static_cast<std::size_t>(nth) - 1 : places.size() - 1]);
}

void AgentTest::ExpectWait(const std::string& from, const std::string& to, int least, int limit, int nth) {
    const std::int64_t waited = LoggedAt(to, nth) - LoggedAt(from, nth);
    EXPECT_GE(waited, least) << from << " to " << to;
    EXPECT_LT(waited, limit) << from << " to " << to;
}

LinkEvent AgentTest::Await(EventKind kind) {
    return Await(Name(kind), IsKind(kind));
}

LinkEvent AgentTest::Await(const std::string& what, const EventMatch& matches) {
    auto event = cursor_->WaitFor(matches, kPatience);
    if (!event) GiveUp("this did not come to the platform: " + what);
    return *event;
}

LinkEvent AgentTest::Ask(std::uint16_t id, ConstBytes parameters) {
    static std::uint16_t next_head = 0x4100;
    const std::uint16_t head = next_head++;
    if (!platform_->SendCommand(mac_, id, parameters, {}, head)) GiveUp("no connection to ask on");
    LinkEvent reply = AwaitReply();
    if (reply.data.size() < 6) GiveUp("a reply without an echo: " + ToHex(reply.frame));
    EXPECT_EQ(head, reply.Word(0)) << "another command's reply: " << ToHex(reply.frame);
    EXPECT_EQ(id, reply.function_id());
    return reply;
}

void AgentTest::ExpectResult(int result, std::uint8_t data_type, const std::string& json) {
    if (!platform_->SendPlugData(mac_, data_type, json)) GiveUp("no connection for plug data");
    const LinkEvent reply = AwaitReply();
    EXPECT_EQ(MsgType::kPlugReply, reply.header.type());
    EXPECT_EQ(static_cast<std::uint16_t>(result), reply.code) << json;
    EXPECT_EQ(data_type, reply.data_type);
    EXPECT_EQ("{\"result\":" + std::to_string(result) + "}", reply.text());
}

LinkEvent AgentTest::AwaitReLogin() {
    const LinkEvent next = Await("a login or registration", [](const LinkEvent& event) {
        return event.kind == EventKind::kLogin || event.kind == EventKind::kRegister;
    });
    if (next.kind != EventKind::kLogin) GiveUp("a registration instead of a re-login");
    return Await(EventKind::kHeartbeat);
}

ByteVector Counted(ConstBytes bytes) {
    std::array<std::uint8_t, 2> count;
    ByteWriter(count).U16(static_cast<std::uint16_t>(bytes.size()));
    return Join({count, bytes});
}

}  // namespace plug::e2e
