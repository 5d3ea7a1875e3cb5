#include "commands/ping.h"

#include <algorithm>
#include <atomic>

#include "commands/diagnostics.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/shell.h"
#include "core/sync.h"
#include "core/text.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ProtoolSdk.c";

constexpr int kMostPings = 50;
constexpr int kLinePace = 50;               // milliseconds before each line
constexpr std::size_t kLineBytes = 255;     // with the NUL; a longer line comes in pieces
constexpr std::size_t kResultBytes = 4000;  // with the NUL

struct PingState {
    std::atomic<bool> running{false};  // from StartPing until the worker has stored its result
    Thread worker;                     // response thread
    // Written by the response thread before it starts the worker.
    std::uint16_t size = 0;
    std::uint16_t count = 0;
    std::array<char, 16> address{};
    // Written by the worker while `running` is set, read by the response thread while it is clear.
    std::array<char, kResultBytes> result{};
    std::size_t length = 0;
};
constinit PingState state;

bool IsReplyLine(std::string_view line) {
    return line.find("ttl") != std::string_view::npos || line.find("TTL") != std::string_view::npos;
}

/// Collects lines until the output ends or the next one does not fit.
void CollectLines(FILE* output) {
    for (char buffer[kLineBytes];;) {
        Pace(kLinePace);
        if (fgets(buffer, sizeof buffer, output) == nullptr) return;
        const std::string_view line(buffer);
        if (IsReplyLine(line)) continue;
        if (state.length + line.size() >= state.result.size()) return;
        std::copy(line.begin(), line.end(), state.result.begin() + static_cast<std::ptrdiff_t>(state.length));
        state.length += line.size();
    }
}

void PingWorker() {
    PopenParsePing(state.size, state.count, state.address.data());
}

}  // namespace

int PopenParsePing(int size, int count, const char* address) {
    const LogAuthor author(__func__);
    state.running = true;
    state.result = {};
    state.length = 0;
    char command[64];
    snprintf(command, sizeof command, "ping -s %d -c %d %s", size, std::min(count, kMostPings), address);
    PLUG_LOG(kDebug, "ping --------------%s", command);
    FILE* const output = OpenShell(command);
    if (output == nullptr) {
        perror("popen failed");
        return -1;
    }
    CollectLines(output);
    PLUG_LOG(kDebug, "------------ping len =%d,result = %s", static_cast<int>(state.length),
             state.result.data());
    state.running = false;
    if (CloseShell(output) == -1) {
        perror("pclose failed");
        return -2;
    }
    return 0;
}

int StartPing(std::uint16_t size, std::uint16_t count, std::string_view address) {
    if (state.running) return kDiagnosticBusy;
    JoinPing();
    state.size = size;
    state.count = count;
    CopyText(state.address, address);
    state.running = true;
    const int error = state.worker.Start(PingWorker, "ping");
    if (error != 0) {
        PLUG_LOG(kErr, "Created to pingThreadId Failed.");
        state.running = false;
    }
    return error;
}

std::optional<std::string_view> FetchPing() {
    if (state.running) return std::nullopt;
    JoinPing();
    return std::string_view(state.result.data(), state.length);
}

void JoinPing() {
    (void)state.worker.Join();
}

}  // namespace plug
