#include "subdev/scanner.h"

#include <arpa/inet.h>

#include "core/clock.h"
#include "core/file.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/sdk_code.h"
#include "core/shell.h"
#include "platform/identity.h"
#include "platform/uplink.h"
#include "router/sdk_lock.h"
#include "router_sdk.h"
#include "subdev/arp_table.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Subdev.c";

constexpr std::uint8_t kReportType = 63;
constexpr std::size_t kMostDevices = 128;
constexpr std::size_t kFewDevices = 14;
constexpr std::size_t kRecordSize = 45;
constexpr std::size_t kReportHeader = 8;
constexpr std::size_t kHexPairsPerLine = 333;
constexpr int kArpLine = 158;
constexpr int kRestMilliseconds = 20;
constexpr int kRetryMilliseconds = 1000;
constexpr int kAfterReportMilliseconds = 3000;
constexpr char kUnknownName[] = "unknown-device";

/// One device of the table and, in this order, of the report.
struct SubdevRecord {
    std::uint32_t address = 0;  // host order
    MacAddress mac{};
    std::array<char, 16> name{};
    std::uint64_t up = 0;  // bandwidths in the SDK's unit
    std::uint64_t down = 0;
    bool listed = false;   // by the SDK; otherwise only the ARP table has it
    bool allowed = false;  // not on the black list
    std::uint8_t attribute = 0;
};

/// The table of one scan.
struct DeviceTable {
    std::array<SubdevRecord, kMostDevices + 1> records{};
    std::size_t count = 0;

    std::span<SubdevRecord> devices() { return std::span(records).first(count); }
    SubdevRecord* Find(const MacAddress& mac) {
        for (SubdevRecord& device : devices()) {
            if (device.mac == mac) return &device;
        }
        return nullptr;
    }
    SubdevRecord& Append() { return records[count++] = {}; }
};

struct ScannerState {
    Event stop;     // set by the owner
    Event trigger;  // set by any thread
    Thread thread;  // the owner's
    // The rest is the scanner's own.
    std::array<dev_cfg, kMostDevices + 1> sdk_devices{};
    DeviceTable table;
    std::array<std::uint8_t, kReportHeader + kMostDevices * kRecordSize> report{};
    std::array<char, 13> net_prefix{};  // kept from scan to scan
    std::uint16_t sequence = 0;
};
constinit ScannerState state;

void AppendListed(const dev_cfg& device) {
    SubdevRecord& record = state.table.Append();
    record.address = device.address;
    memcpy(record.mac.data(), device.mac, sizeof device.mac);
    memcpy(record.name.data(), device.name, sizeof device.name);
    record.listed = true;
    record.attribute = device.access;
}

/// Begins the table anew with the devices that the SDK lists. 0 or -1.
int ReadListedDevices() {
    int count = 0;
    state.table.count = 0;
    state.sdk_devices.fill({});
    {
        const SubdevLock lock;
        if (lock.error() != 0) {
            PLUG_LOG(kErr, "Get SubdevMutex failed");
            return -1;
        }
        if (SdkCode(get_devs_cfg(state.sdk_devices.data(), &count)) != 0) {
            PLUG_LOG(kErr, "get_devs_cfg Failed.");
            return -1;
        }
    }
    if (count < 0 || static_cast<std::size_t>(count) > kMostDevices) {
        PLUG_LOG(kErr, "DeviceNum too large.");
        return -1;
    }
    for (const dev_cfg& device : std::span(state.sdk_devices).first(static_cast<std::size_t>(count)))
        AppendListed(device);
    return 0;
}

/// The bandwidths of all devices in the table; 0 where they cannot be had.
void GetFlowStatisData() {
    const LogAuthor author(__func__);
    for (SubdevRecord& device : state.table.devices()) {
        const SubdevLock lock;
        if (lock.error() != 0) {
            PLUG_LOG(kErr, "Get SubdevMutex failed");
            continue;
        }
        get_dev_ds_bw(device.mac.data(), &device.down);
        get_dev_us_bw(device.mac.data(), &device.up);
    }
}

/// Takes the LAN's prefix from the first device; without devices the last one stays. 0 or -1.
int LearnNetPrefix() {
    if (state.table.count == 0) return 0;
    const in_addr address{htonl(state.table.records[0].address)};
    std::array<char, INET_ADDRSTRLEN> dotted{};
    inet_ntop(AF_INET, &address, dotted.data(), static_cast<socklen_t>(dotted.size()));
    const std::string_view prefix = NetworkPrefix(dotted.data());
    if (prefix.empty()) {
        PLUG_LOG(kErr, "GetInNetSeg failed.");
        return -1;
    }
    CopyText(state.net_prefix, prefix);
    return 0;
}

bool NetPrefixKnown() {
    return state.net_prefix[0] != '\0';
}

/// The SDK's name of a device that it does not list.
void NameUnlisted(SubdevRecord& device) {
    std::array<char, 32> name{};
    const SubdevLock lock;
    if (lock.error() != 0) PLUG_LOG(kErr, "Get SubdevMutex failed");
    const bool named = lock.error() == 0 && SdkCode(get_dev_name(device.mac.data(), name.data())) == 0;
    const std::string_view shown = named ? FieldText(name) : kUnknownName;
    shown.copy(device.name.data(), device.name.size());
}

void AppendUnlisted(const ArpEntry& entry) {
    SubdevRecord& device = state.table.Append();
    device.address = entry.address;
    device.mac = entry.mac;
    device.attribute = 1;
    NameUnlisted(device);
}

/// Appends what only the ARP table knows, as long as there is room.
void GetOffLineInfo() {
    const LogAuthor author(__func__);
    std::array<char, 128> command;
    snprintf(command.data(), command.size(), "cat /proc/net/arp | grep %s | grep -v 00:00:00:00:00:00 > %s",
             state.net_prefix.data(), kArpFilePath);
    OpenToWrite(kArpFilePath);  // the shell then writes to a file of ours
    RunShell(command.data());
    Pace(kRestMilliseconds);
    const FilePtr file = OpenOwnToRead(kArpFilePath);
    if (file == nullptr) {
        PLUG_LOG(kErr, "Unable to open file %s.", kArpFilePath);
        return;
    }
    std::array<char, kArpLine + 1> line;
    while (fgets(line.data(), static_cast<int>(line.size()), file.get()) != nullptr) {
        const std::optional<ArpEntry> entry = ParseArpLine(line.data());
        if (!entry || state.table.Find(entry->mac) != nullptr) continue;
        if (state.table.count >= kMostDevices) break;
        AppendUnlisted(*entry);
    }
}

/// Takes the allowance from the devices on the router's black list.
void ApplyBlackList() {
    std::uint8_t macs[router_room_black_list][6] = {};
    int count = 0;
    {
        const SubdevLock lock;
        if (lock.error() != 0) {
            PLUG_LOG(kErr, "Get SubdevMutex failed");
            return;
        }
        if (SdkCode(get_dev_black_list(macs, &count)) != 0 || count < 0 || count > router_room_black_list) {
            PLUG_LOG(kErr, "get_dev_black_list Error.");
            return;
        }
    }
    PLUG_LOG(kDebug, "BlackNum=%d", count);
    for (int i = 0; i < count; ++i) {
        const MacAddress mac = std::to_array(macs[i]);
        PLUG_LOG(kDebug, "BlackMac%d=%02x:%02x:%02x:%02x:%02x:%02x", i, mac[0], mac[1], mac[2], mac[3],
                 mac[4], mac[5]);
        if (SubdevRecord* const device = state.table.Find(mac); device != nullptr) device->allowed = false;
    }
}

/// Every device is allowed; the black list counts in debug mode only.
void GetBlackInfo() {
    const LogAuthor author(__func__);
    if (state.table.count > kMostDevices) {
        PLUG_LOG(kErr, "TotalDevice is too large.");
        return;
    }
    for (SubdevRecord& device : state.table.devices()) device.allowed = true;
    if (DebugMode()) ApplyBlackList();
}

void printHexBuf(ConstBytes bytes) {
    const LogAuthor author(__func__);
    std::array<char, kHexPairsPerLine * 3> room;
    while (!bytes.empty()) {
        const std::size_t length = std::min(bytes.size(), kHexPairsPerLine);
        const std::string_view line = HexPairs(bytes.first(length), room);
        PLUG_LOG(kDebug, "%.*s", static_cast<int>(line.size()), line.data());
        bytes = bytes.subspan(length);
    }
}

void WriteRecord(ByteWriter& report, const SubdevRecord& device) {
    report.Ip4(device.address);
    report.Copy(device.mac);
    report.Text({device.name.data(), device.name.size()}, device.name.size());
    report.U64(device.up);
    report.U64(device.down);
    report.U8(device.listed ? 1 : 0);
    report.U8(device.allowed ? 1 : 0);
    report.U8(device.attribute);
}

void SendtoServer() {
    const LogAuthor author(__func__);
    if (state.table.count > kMostDevices) {
        PLUG_LOG(kErr, "TotalDevice is too large.");
        return;
    }
    ByteWriter report(state.report);
    report.U16(state.sequence);
    report.U16(kReportType);
    report.U16(0);
    report.U16(static_cast<std::uint16_t>(state.table.count));
    for (const SubdevRecord& device : state.table.devices()) WriteRecord(report, device);
    SendIpUpData(report.written(), kReportType, &RouterMac());
    if (DebugMode()) printHexBuf(report.written());
    ++state.sequence;
}

/// Tries until one report is out, then leaves the router and the platform in peace for a while.
void ScanUntilReported() {
    while (!state.stop.IsSet()) {
        if (ScanAndReport()) {
            const bool few = state.table.count <= kFewDevices;
            state.stop.WaitFor(few ? kAfterReportMilliseconds + 1000 : kAfterReportMilliseconds);
            return;
        }
        state.stop.WaitFor(kRetryMilliseconds);
    }
}

void SubdevThread() {
    const LogAuthor author(__func__);
    while (!state.stop.IsSet()) {
        state.trigger.Take();
        ScanUntilReported();
        state.trigger.Clear();
    }
}

}  // namespace

int StartSubdev() {
    const LogAuthor author(__func__);
    state.net_prefix = {};
    state.table.count = 0;
    PLUG_LOG(kDebug, "Start Subdevice task.");
    state.stop.Clear();
    state.trigger.Clear();
    return state.thread.Start(SubdevThread, "SubdevThread");
}

void StopSubdev() {
    state.stop.Set();
    state.trigger.Set();
    state.thread.Join();
}

void TriggerScan() {
    state.trigger.Set();
}

bool ScanAndReport() {
    if (ReadListedDevices() != 0) return false;
    Pace(kRestMilliseconds);
    GetFlowStatisData();
    if (LearnNetPrefix() != 0) return false;
    if (NetPrefixKnown()) {
        Pace(kRestMilliseconds);
        PLUG_LOG(kDebug, "InNetSeg=%s", state.net_prefix.data());
        GetOffLineInfo();
        GetBlackInfo();
    }
    SendtoServer();
    return true;
}

}  // namespace plug
