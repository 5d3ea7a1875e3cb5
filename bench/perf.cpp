#include "bench/perf.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <system_error>
#include <thread>

#include "bench/agent_link.h"
#include "bench/agent_process.h"
#include "bench/effort.h"
#include "bench/local_peer.h"
#include "bench/sockets.h"
#include "bench/text.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Micros = std::chrono::duration<double, std::micro>;

constexpr Milliseconds kSpacing{20};
constexpr Milliseconds kPatience{30000};
constexpr std::uint16_t kMeasuredCommand = 18;  // one byte out of the SDK

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what);
}

/// Client, agent and echo share one processor, so that none waits for another to wake up a second one.
void PinToOneProcessor() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    sched_getaffinity(0, sizeof allowed, &allowed);
    for (std::size_t processor = 0; processor < CPU_SETSIZE; ++processor) {
        if (!CPU_ISSET(processor, &allowed)) continue;
        CPU_ZERO(&allowed);
        CPU_SET(processor, &allowed);
        sched_setaffinity(0, sizeof allowed, &allowed);
        return;
    }
}

LinkEvent Expect(AgentLink& link, const CipherKey& key, EventKind kind) {
    const auto deadline = Clock::now() + kPatience;
    while (auto event = link.NextFrame(key, deadline)) {
        if (event->kind == EventKind::kHeartbeat) link.Send(BuildFrame(key, MsgType::kHeartbeatAck, {}, {}));
        if (event->kind == kind) return *event;
    }
    Fail(std::string("no ") + Name(kind) + " frame came");
}

/// A started agent that has logged in.
struct Session {
    std::unique_ptr<Process> agent;
    LinkPtr link;
    MacAddress mac{};
    Micros to_register{};
    Micros to_login{};
};

Session StartSession(const DirectServer& registration, const DirectServer& login, const AgentSetup& setup,
                     const CipherKey& key) {
    Session session;
    const auto started = Clock::now();
    session.agent = StartAgent(setup);
    {
        const LinkPtr first = registration.Accept();
        const LinkEvent frame = Expect(*first, key, EventKind::kRegister);
        session.to_register = frame.time - started;
        session.mac = frame.mac;
        first->Send(BuildRegisterAck(key, AsBytes("perf"), INADDR_LOOPBACK, login.port(), {}));
        session.link = login.Accept();
    }
    session.to_login = Expect(*session.link, key, EventKind::kLogin).time - started;
    session.link->Send(BuildLoginAck(key, 60));
    Expect(*session.link, key, EventKind::kHeartbeat);
    return session;
}

/// Times in microseconds, sorted.
struct Times {
    std::vector<double> values;

    void Add(Micros time) { values.push_back(time.count()); }
    double At(double share) {
        std::sort(values.begin(), values.end());
        const double last = static_cast<double>(values.size() - 1);
        return values.empty() ? 0 : values[static_cast<std::size_t>(std::lround(share * last))];
    }
};

ByteVector Question(const Session& session, const CipherKey& key, std::uint16_t head) {
    return BuildCommand(key, kMeasuredCommand, {}, session.mac, head);
}

Times RoundTrips(const Session& session, const CipherKey& key, int count) {
    Times times;
    for (int round = 0; round < count; ++round) {
        const ByteVector frame = Question(session, key, static_cast<std::uint16_t>(round));
        std::this_thread::sleep_for(kSpacing);
        const auto sent = Clock::now();
        session.link->Send(frame);
        times.Add(Expect(*session.link, key, EventKind::kReply).time - sent);
    }
    return times;
}

double PipelinedRate(const Session& session, const CipherKey& key, int count) {
    ByteVector frames;
    for (int at = 0; at < count; ++at) {
        const ByteVector frame = Question(session, key, static_cast<std::uint16_t>(at));
        frames.insert(frames.end(), frame.begin(), frame.end());
    }
    const auto sent = Clock::now();
    session.link->Send(frames);
    for (int at = 0; at < count; ++at) Expect(*session.link, key, EventKind::kReply);
    return count / std::chrono::duration<double>(Clock::now() - sent).count();
}

/// Sends back what is read, until the other end goes.
[[noreturn]] void Echo(const DirectServer& server) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const LinkPtr peer = server.Accept();
    while (peer->Await(Clock::now() + kPatience) && peer->Send(peer->Take(peer->received.size()))) {
    }
    _exit(0);
}

/// A connection to a port of the loopback that waits when it is read.
int ConnectToPort(std::uint16_t port) {
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(client, reinterpret_cast<sockaddr*>(&name), sizeof name) != 0) Fail("cannot connect");
    return client;
}

/// The round trips to a process that only echoes, on the same processor and spaced like the commands: what
/// the loopback, the scheduler and the client cost without an agent.
Times EchoRoundTrips(std::size_t size, int count) {
    const DirectServer server;
    const pid_t child = fork();
    if (child < 0) Fail("cannot fork");
    if (child == 0) Echo(server);
    const int client = ConnectToPort(server.port());
    Times times;
    ByteVector bytes(size, 0x5A);
    for (int round = 0; round < count; ++round) {
        std::this_thread::sleep_for(kSpacing);
        const auto sent = Clock::now();
        WriteAll(client, bytes);
        if (recv(client, bytes.data(), bytes.size(), MSG_WAITALL) != static_cast<ssize_t>(size))
            Fail("echo ended");
        times.Add(Clock::now() - sent);
    }
    close(client);
    waitpid(child, nullptr, 0);
    return times;
}

Json MeasureIdle(const Session& session, const CipherKey& key, int seconds) {
    const pid_t process = session.agent->pid();
    const Effort before = EffortSoFar(process);
    const auto end = Clock::now() + std::chrono::seconds(seconds);
    while (auto event = session.link->NextFrame(key, end))
        if (event->kind == EventKind::kHeartbeat)
            session.link->Send(BuildFrame(key, MsgType::kHeartbeatAck, {}, {}));
    if (Clock::now() < end) Fail("the agent is gone");
    const Effort after = EffortSoFar(process);
    const Holdings holdings = HoldingsOf(process);
    return {{"seconds", seconds},
            {"wake_ups_per_second", (after.wake_ups - before.wake_ups) / seconds},
            {"cpu_ms", (after.cpu_seconds - before.cpu_seconds) * 1000},
            {"private_dirty_kib", holdings.private_dirty_kib},
            {"resident_kib", holdings.resident_kib},
            {"threads", after.threads}};
}

std::string Rounded(const Json& value, int digits) {
    return Format("%.*f", digits, value.get<double>());
}

std::string ReportText(const Json& results) {
    const Json& agent = results["round_trip_us"];
    const Json& echo = results["echo_round_trip_us"];
    const Json& idle = results["idle"];
    const Json round_trips = {{{"round trip of function 18 (us)", "agent"},
                               {"p50", Rounded(agent["p50"], 0)},
                               {"p99", Rounded(agent["p99"], 0)}},
                              {{"round trip of function 18 (us)", "bare TCP echo"},
                               {"p50", Rounded(echo["p50"], 0)},
                               {"p99", Rounded(echo["p99"], 0)}}};
    const Json numbers = {
        {"pipelined commands per second", Rounded(results["pipelined_per_second"], 1)},
        {"exec to register frame (ms)", Rounded(results["start_ms"]["register"], 1)},
        {"exec to login frame (ms)", Rounded(results["start_ms"]["login"], 1)},
        {"idle wake-ups per second", Rounded(idle["wake_ups_per_second"], 2)},
        {"idle CPU time (ms in " + Inline(idle["seconds"]) + " s)", Rounded(idle["cpu_ms"], 1)},
        {"private dirty memory (KiB)", Rounded(idle["private_dirty_kib"], 0)},
        {"resident memory (KiB)", Rounded(idle["resident_kib"], 0)},
        {"threads", Inline(idle["threads"])}};
    return Lines({{"", round_trips}}) + "\n" + Lines(numbers);
}

}  // namespace

int MeasureAgent(const PerfOptions& options, Output& output) {
    PinToOneProcessor();
    const TemporaryFolder folder;
    const DirectServer registration;
    const DirectServer login;
    AgentSetup setup;
    setup.folder = folder.path();
    setup.port = registration.port();
    const CipherKey key = MakeKey(setup.key);

    Session session;
    Times to_register;
    Times to_login;
    for (int start = 0; start < std::max(options.starts, 1); ++start) {
        session = {};
        session = StartSession(registration, login, setup, key);
        to_register.Add(session.to_register);
        to_login.Add(session.to_login);
    }
    const std::size_t frame_size = Question(session, key, 0).size();
    Times echo = EchoRoundTrips(frame_size, options.round_trips);
    Times agent = RoundTrips(session, key, options.round_trips);
    Json results;
    results["round_trip_us"] = {
        {"p50", agent.At(0.5)}, {"p99", agent.At(0.99)}, {"count", options.round_trips}};
    results["echo_round_trip_us"] = {{"p50", echo.At(0.5)}, {"p99", echo.At(0.99)}};
    results["pipelined_per_second"] = PipelinedRate(session, key, options.pipelined);
    results["start_ms"] = {{"register", to_register.At(0.5) / 1000}, {"login", to_login.At(0.5) / 1000}};
    // As on a router: with its local peer on the socket.
    LocalPeer peer;
    if (!peer.Connect()) Fail("the local socket does not answer");
    results["idle"] = MeasureIdle(session, key, std::max(options.idle_seconds, 1));
    output.Show(results, ReportText(results));
    return 0;
}

}  // namespace plug::bench
