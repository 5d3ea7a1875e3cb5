#include "commands/rate_test.h"

#include <atomic>

#include "commands/diagnostics.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/sync.h"
#include "core/text.h"
#include "core/url.h"
#include "platform/download.h"
#include "platform/identity.h"
#include "platform/uplink.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ProtoolSdk.c";

constexpr char kDefaultServer[] = PLUG_RATE_SERVER;
constexpr unsigned kDefaultPort = 8199;
constexpr char kDefaultPath[] = "/download/300.data";
constexpr char kUnusedFile[] = "/tmp/rate";
constexpr int kHttpPort = 80;
constexpr std::size_t kShortestHost = 3;
constexpr std::size_t kLongestHost = 64;
constexpr int kStartPace = 20;  // milliseconds
constexpr std::uint16_t kReportId = 62;

struct RateTestState {
    std::atomic<bool> busy{false};  // claimed by the response thread, released by the worker
    Thread worker;                  // response thread
    std::array<char, 1024> url{};   // written by who claimed, before the worker starts
};
constinit RateTestState state;

void SendReport() {
    const int rate = MeasuredRate();
    PLUG_LOG(kDebug, "route rate --------------- %d", rate);
    std::array<std::uint8_t, 10> room;
    ByteWriter report(room);
    report.U16(0);
    report.U16(kReportId);
    report.U16(rate == -1 ? 1 : 0);
    report.U32(static_cast<std::uint32_t>(rate));
    SendReplyUpData(0, report.written(), 0, &RouterMac());
}

void Measure(const char* host, unsigned port, const char* path) {
    const int result = DownTestRateFIle(host, port, path, kUnusedFile);
    SendReport();
    PLUG_LOG(kDebug, "route rate up ret %d", result);
}

void DefaultWorker() {
    RateTestThread();
    state.busy = false;
}

void UrlWorker() {
    RateTestProc(state.url.data());
    state.busy = false;
}

}  // namespace

void RateTestThread() {
    const LogAuthor author(__func__);
    Measure(kDefaultServer, kDefaultPort, kDefaultPath);
}

void RateTestProc(const char* url) {
    const LogAuthor author(__func__);
    const std::optional<UrlParts> parts = SplitUrl(url, PortMark::kBeforePath);
    if (!parts) return;
    if (parts->port) PLUG_LOG(kDebug, "port length: %zu", parts->port->size());
    PLUG_LOG(kDebug, "server len  %zu", parts->host.size());
    if (parts->host.size() < kShortestHost || parts->host.size() > kLongestHost) return;
    std::array<char, kLongestHost + 1> host;
    CopyText(host, parts->host);
    const int port = parts->port ? DecimalValue(*parts->port) : kHttpPort;
    const char* const path = parts->path.data();  // ends where the URL ends
    PLUG_LOG(kDebug, "serverName: %s, port: %d, url: %s", host.data(), port, path);
    Measure(host.data(), static_cast<unsigned>(port), path);
}

int StartRateTest(const char* url) {
    if (state.busy.exchange(true)) return kDiagnosticBusy;
    JoinRateTest();
    Pace(kStartPace);
    if (url != nullptr) CopyText(state.url, url);
    const int error = url != nullptr ? state.worker.Start(UrlWorker, "RateTestProc")
                                     : state.worker.Start(DefaultWorker, "RateTestThread");
    if (error != 0) {
        PLUG_LOG(kDebug, "Create RateTestThread Failed.");
        state.busy = false;
    }
    return error;
}

void JoinRateTest() {
    (void)state.worker.Join();
}

}  // namespace plug
