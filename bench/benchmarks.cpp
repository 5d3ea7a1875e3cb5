// plug-benchmarks: what the agent's own work costs, without the router's and the network's. Each measure
// stands beside the one to hold it against: the scheduler's pass beside the bare call of the router's
// library, a scan beside its pauses, a download beside curl's, an MD5 beside openssl's.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include "bench/agent_process.h"
#include "bench/http_server.h"
#include "bench/layout.h"
#include "bench/sandbox.h"
#include "platform/download.h"
#include "platform/link_state.h"
#include "platform/tcp_server.h"
#include "router_sdk.h"
#include "rules/self_update.h"
#include "rules/surf_rules.h"
#include "rules/surf_schedule.h"
#include "subdev/scanner.h"

namespace plug::bench {
namespace {

using benchmark::State;

constexpr int kDevices = 128;
constexpr int kKeys = 512;  // 128 devices on four days of the week
constexpr std::int64_t kBody = 64 << 20;
constexpr CalendarTime kMondayNoon{
    .year = 2026, .month = 11, .day = 23, .hour = 12, .minute = 0, .second = 0, .weekday = 1};

MacAddress DeviceMac(int number) {
    return {0, 0, 0x5E, 0, 0x53, static_cast<std::uint8_t>(number)};
}

/// A home of 128 devices, and a window of the early morning for each of them from Monday to Thursday.
void FurnishHome(const std::string& folder) {
    Json devices = Json::array();
    Json rules = Json::array();
    for (int i = 0; i < kDevices; ++i) {
        const std::string mac = MacText(DeviceMac(i));
        devices.push_back({{"mac", mac},
                           {"name", "device " + std::to_string(i)},
                           {"address", "192.168.1." + std::to_string(i + 2)},
                           {"online", true},
                           {"access", true},
                           {"up_bandwidth", i},
                           {"down_bandwidth", i}});
        rules.push_back({{"FLAG", "1"},
                         {"MAC", mac},
                         {"DAY", "1234"},
                         {"START", "1:00"},
                         {"STOP", "5:00"},
                         {"ALLOW", "0"}});
    }
    const std::string path = folder + "/router.json";
    WriteFile(path, Json{{"devices", devices}}.dump());
    setenv("ROUTER_SIM", path.c_str(), 1);
    {
        const Guard guard(SurfRuleMutex());
        hash_table_init();
    }
    if (ParseSurfRulesParam(Json{{"LIST", rules}}.dump().c_str()) != 0)
        throw std::runtime_error("the windows are refused");
}

void Lookup(State& state, const char* last_digit) {
    std::vector<std::string> keys;
    keys.reserve(kDevices);
    for (int i = 0; i < kDevices; ++i) keys.push_back(MacText(DeviceMac(i)) + last_digit);
    const Guard guard(SurfRuleMutex());
    std::size_t at = 0;
    while (state.KeepRunning()) benchmark::DoNotOptimize(hash_table_lookup(keys[at++ % keys.size()]));
    state.counters["keys"] = kKeys;
}
BENCHMARK_CAPTURE(Lookup, known, "|3");
BENCHMARK_CAPTURE(Lookup, unknown, "|7");

/// No window is open, so nothing is set.
void SchedulerPass(State& state) {
    while (state.KeepRunning()) surf_rule_func(kMondayNoon);
    state.counters["devices"] = kDevices;
    state.counters["keys"] = kKeys;
}
BENCHMARK(SchedulerPass)->Unit(benchmark::kMicrosecond);

/// What of a pass is the simulated router's, which looks at its state file with each call.
void RouterListsDevices(State& state) {
    std::array<dev_cfg, router_room_devices> devices{};
    int count = 0;
    while (state.KeepRunning()) benchmark::DoNotOptimize(get_devs_cfg(devices.data(), &count));
    state.counters["devices"] = count;
}
BENCHMARK(RouterListsDevices)->Unit(benchmark::kMicrosecond);

/// A scan and its report on the link; three of its pauses are 20 ms.
void Scan(State& state) {
    Platform platform;
    LinkThreads threads;
    SetLinkHandlers({[](const InboundFrame&) {}, [] {}});
    if (ServerInit("127.0.0.1", platform.login_port(), threads) != 0) {
        state.SkipWithError("no link");
        return;
    }
    SetLoggedIn(true);
    while (state.KeepRunning())
        if (!ScanAndReport()) state.SkipWithError("no scan");
    state.counters["devices"] = kDevices;
    state.counters["pauses_ms"] = 3 * 20;
    SetLoggedIn(false);
    RaiseLinkError();
    DeleteServer(threads);
}
BENCHMARK(Scan)->Unit(benchmark::kMillisecond)->UseRealTime();

/// The file that the transfers fetch, and where they put it.
struct Transfers {
    TemporaryFolder folder;
    HttpServer server{std::string(kBody, 'b')};
    std::string fetched = folder.path() + "/fetched";
};

Transfers& Shared() {
    static Transfers transfers;
    return transfers;
}

/// Runs a program once an iteration.
void RunProgram(State& state, const std::vector<std::string>& argv) {
    while (state.KeepRunning())
        if (Run({.argv = argv}).status != 0) state.SkipWithError("it failed");
}

void CountBytes(State& state) {
    state.SetBytesProcessed(state.iterations() * kBody);
}

void Download(State& state) {
    Transfers& transfers = Shared();
    while (state.KeepRunning())
        if (DownLoadFIle("127.0.0.1", transfers.server.port(), "/plug", transfers.fetched.c_str()) != 0)
            state.SkipWithError("it failed");
    CountBytes(state);
}
BENCHMARK(Download)->Unit(benchmark::kMillisecond)->UseRealTime();

void DownloadByCurl(State& state) {
    Transfers& transfers = Shared();
    RunProgram(state, {"curl", "-s", "-o", transfers.fetched, transfers.server.Url()});
    CountBytes(state);
}
BENCHMARK(DownloadByCurl)->Unit(benchmark::kMillisecond)->UseRealTime();

void FileMd5(State& state) {
    WriteFile(Shared().fetched, Shared().server.content());
    Md5Text md5;
    while (state.KeepRunning())
        if (Compute_file_md5(Shared().fetched.c_str(), md5) != 0) state.SkipWithError("it failed");
    CountBytes(state);
}
BENCHMARK(FileMd5)->Unit(benchmark::kMillisecond)->UseRealTime();

void FileMd5ByOpenssl(State& state) {
    WriteFile(Shared().fetched, Shared().server.content());
    RunProgram(state, {"openssl", "dgst", "-md5", Shared().fetched});
    CountBytes(state);
}
BENCHMARK(FileMd5ByOpenssl)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace plug::bench

int main(int argc, char** argv) try {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    if (geteuid() == 0) plug::bench::EnterSandbox();
    plug::PrepareCipher();
    const plug::bench::TemporaryFolder folder;
    plug::bench::FurnishHome(folder.path());
    benchmark::RunSpecifiedBenchmarks();
    return 0;
} catch (const std::exception& error) {
    fprintf(stderr, "plug-benchmarks: %s\n", error.what());
    return 2;
}
