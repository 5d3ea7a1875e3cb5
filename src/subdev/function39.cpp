#include "subdev/function39.h"

#include "commserver/comm_server.h"
#include "core/file.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/sdk_code.h"
#include "core/sync.h"
#include "platform/link_state.h"
#include "router/sdk_lock.h"
#include "router_sdk.h"
#include "subdev/online_report.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Function39.c";

constexpr std::size_t kMostDevices = 128;
constexpr std::size_t kMacLine = 14;  // of the file: twelve digits, carriage return and newline
constexpr int kRoundMilliseconds = 10'000;
constexpr int kAfterFailureMilliseconds = 60'000;
constexpr int kRoundsPerQuery = 6;  // a query a minute

struct Function39State {
    Event stop;     // set by the owner
    Thread thread;  // the owner's
    // The rest is the thread's own, and the owner's before it starts.
    std::array<MacAddress, kMostDevices> known{};
    std::size_t known_count = 0;
    std::array<dev_cfg, kMostDevices + 1> listed{};  // the last list of the SDK
    std::size_t listed_count = 0;
    int round = 1;
};
constinit Function39State state;

bool Known(const MacAddress& mac) {
    const auto known = std::span(state.known).first(state.known_count);
    return std::find(known.begin(), known.end(), mac) != known.end();
}

/// False when there is no room left.
bool Remember(const MacAddress& mac) {
    if (state.known_count >= kMostDevices) return false;
    state.known[state.known_count++] = mac;
    return true;
}

std::span<const dev_cfg> Listed() {
    return std::span(state.listed).first(state.listed_count);
}

/// Asks the SDK for its devices. 0 or -1.
int ReadListed() {
    int count = 0;
    const SubdevLock lock;
    if (lock.error() != 0 || SdkCode(get_devs_cfg(state.listed.data(), &count)) != 0 || count < 0 ||
        static_cast<std::size_t>(count) > kMostDevices) {
        PLUG_LOG(kErr, "Func39 get_devs_cfg failed.");
        return -1;
    }
    state.listed_count = static_cast<std::size_t>(count);
    return 0;
}

/// Reports the device when it is new. False when it was, and cannot be remembered.
bool Fn39OnlineReport(const dev_cfg& device) {
    const LogAuthor author(__func__);
    const MacAddress mac = std::to_array(device.mac);
    if (Known(mac)) return true;
    const OnlineReport report = SendOnlineReport(mac, {device.name, sizeof device.name});
    PLUG_LOG(kDebug, "Online subdev:");
    PrintOnlineReport(report);
    return Remember(mac);
}

/// From now on exactly the devices of the last list are known.
void ForgetOthers() {
    state.known_count = 0;
    for (const dev_cfg& device : Listed()) Remember(std::to_array(device.mac));
}

void Fn39ReportProc() {
    const LogAuthor author(__func__);
    while (!state.stop.IsSet()) {
        if (LocalPeerSeen()) {
            PLUG_LOG(kDebug, "Use function 40");
            return;
        }
        const bool reporting = OnlineReportOn() && LoggedIn();
        if (state.stop.WaitFor(kRoundMilliseconds)) return;
        if (reporting && Fn39Round() != 0) state.stop.WaitFor(kAfterFailureMilliseconds);
    }
}

}  // namespace

int Fn39Init() {
    const LogAuthor author(__func__);
    state.known_count = 0;
    if (LocalPeerSeen()) {
        PLUG_LOG(kDebug, "Use function 40");
        return 0;
    }
    Fn39LoadMac();
    state.round = 1;
    state.stop.Clear();
    if (state.thread.Start(Fn39ReportProc, "Fn39ReportProc") != 0) {
        PLUG_LOG(kErr, "Create FnReportProc failed.");
        return -1;
    }
    return 0;
}

void Fn39Stop() {
    state.stop.Set();
    state.thread.Join();
}

int Fn39LoadMac() {
    const LogAuthor author(__func__);
    PLUG_LOG(kDebug, "LOAD macconfig");
    state.known_count = 0;
    const FilePtr file = OpenOwnToRead(kMacListPath);
    if (file == nullptr) {
        PLUG_LOG(kDebug, "open MacConf file failed");
        return -1;
    }
    std::array<char, 32> line;
    for (std::size_t lines = 0; lines < kMostDevices; ++lines) {
        if (fgets(line.data(), static_cast<int>(line.size()), file.get()) == nullptr) break;
        MacAddress mac;
        if (ScanMac(line.data(), mac) == static_cast<int>(mac.size())) Remember(mac);
    }
    return 0;
}

int Fn39UpdateMac() {
    const LogAuthor author(__func__);
    if (!LoggedIn()) return -2;
    PLUG_LOG(kDebug, "UpdateMacProfile");
    std::array<char, kMostDevices * kMacLine + 1> text;
    std::size_t length = 0;
    for (const MacAddress& mac : std::span(state.known).first(state.known_count)) {
        snprintf(text.data() + length, text.size() - length, "%02x%02x%02x%02x%02x%02x\r\n", mac[0], mac[1],
                 mac[2], mac[3], mac[4], mac[5]);
        length += kMacLine;
    }
    if (ReplaceFile(kMacListPath, {text.data(), length}) != 0) {
        PLUG_LOG(kErr, "file open error");
        return -1;
    }
    return 0;
}

int Fn39Round() {
    if (state.round % kRoundsPerQuery == 0) {
        PLUG_LOG(kDebug, "Func39 query...");
        if (ReadListed() != 0) return -1;
        for (const dev_cfg& device : Listed()) {
            if (!Fn39OnlineReport(device)) break;
        }
    }
    if (state.round < OnlineRoundLimit()) {
        ++state.round;
        return 0;
    }
    ForgetOthers();
    state.round = 1;
    Fn39UpdateMac();
    return 0;
}

}  // namespace plug
