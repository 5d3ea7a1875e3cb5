#include "subdev/function40.h"

#include "commserver/comm_server.h"
#include "core/log.h"
#include "core/sync.h"
#include "core/text.h"
#include "subdev/online_report.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Function40.c";

constexpr std::size_t kMostDevices = 128;
constexpr std::size_t kRecordSize = 39;
constexpr std::size_t kLongestPayload = 5128;
constexpr std::uint8_t kOnline = 1;
constexpr int kRoundMilliseconds = 10'000;
constexpr int kNoPeerMilliseconds = 15'000;

/// A place of the table; free while the MAC is all zero.
struct Entry {
    MacAddress mac{};
    std::array<char, 32> name{};
    bool pending = false;  // not reported yet
};

struct Function40State {
    Event stop;     // set by the owner
    Thread thread;  // the owner's
    Mutex mutex;    // around the table: the thread reports, the local dispatcher adds
    std::array<Entry, kMostDevices> table PLUG_CHECKED(guarded_by(mutex)){};
    int round = 0;  // the thread's own
};
constinit Function40State state;

struct Device {
    MacAddress mac{};
    std::array<char, 32> name{};
    std::uint8_t status = 0;
};

Device ReadDevice(ByteReader& in) {
    Device device;
    device.mac = in.Array<6>();
    const std::string_view name = AsText(in.Take(device.name.size()));
    name.copy(device.name.data(), device.name.size());
    device.status = in.U8();
    return device;
}

bool Reserved(const MacAddress& mac) {
    constexpr MacAddress kBroadcast = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    return AllZero(mac) || mac == kBroadcast;
}

/// Puts a new device into the first free place; a known one, or one too many, changes nothing.
void Add(const Device& device) {
    if (Reserved(device.mac)) return;
    const Guard guard(state.mutex);
    Entry* free_entry = nullptr;
    for (Entry& entry : state.table) {
        if (entry.mac == device.mac) return;
        if (free_entry == nullptr && AllZero(entry.mac)) free_entry = &entry;
    }
    if (free_entry != nullptr) *free_entry = {device.mac, device.name, true};
}

void Fn40OnlineReport(Entry& entry) {
    const LogAuthor author(__func__);
    entry.pending = false;
    const OnlineReport report = SendOnlineReport(entry.mac, {entry.name.data(), entry.name.size()});
    PLUG_LOG(kDebug, "Online subdev:");
    PrintOnlineReport(report);
}

void Fn40FilterProc() {
    const LogAuthor author(__func__);
    while (!state.stop.IsSet()) {
        const bool serving = LocalPeerSeen();
        if (state.stop.WaitFor(serving ? kRoundMilliseconds : kNoPeerMilliseconds)) return;
        if (serving) Fn40Round();
    }
}

}  // namespace

int Fn40Init() {
    const LogAuthor author(__func__);
    {
        const Guard guard(state.mutex);
        state.table.fill({});
    }
    state.round = 0;
    state.stop.Clear();
    if (state.thread.Start(Fn40FilterProc, "Fn40FilterProc") != 0) {
        PLUG_LOG(kErr, "Create Fn40FilterProc failed.");
        return -1;
    }
    return 0;
}

void Fn40Stop() {
    state.stop.Set();
    state.thread.Join();
}

void Fn40Handle(ConstBytes payload) {
    const LogAuthor author(__func__);
    ByteReader in(payload);
    const std::uint16_t count = in.U16();
    if (count < 1 || count > kMostDevices) {
        PLUG_LOG(kErr, "Subdev number error.");
        return;
    }
    if (payload.size() < kRecordSize || payload.size() > kLongestPayload) {
        PLUG_LOG(kErr, "Subdev length error.");
        return;
    }
    PLUG_LOG(kDebug, "Have subdev data.");
    // The walk does not move on from an offline device: all that were announced behind it count as that one.
    Device device = ReadDevice(in);
    for (std::uint16_t walked = 0; walked < count; ++walked) {
        if (device.status != kOnline) {
            PLUG_LOG(kDebug, "Subdev offline.");
            continue;
        }
        Add(device);
        device = ReadDevice(in);
    }
}

void Fn40Round() {
    const Guard guard(state.mutex);
    for (Entry& entry : state.table) {
        if (entry.pending) Fn40OnlineReport(entry);
    }
    if (OnlineRoundLimit() > state.round) {
        ++state.round;
        return;
    }
    state.table.fill({});
    state.round = 1;
    PLUG_LOG(kDebug, "Clean 40 subdev.");
}

}  // namespace plug
