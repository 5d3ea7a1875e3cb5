#include "rules/plug_json.h"

#include <algorithm>
#include <cstdio>

#include "core/json.h"
#include "core/log.h"
#include "core/sdk_code.h"
#include "core/url.h"
#include "platform/download.h"
#include "platform/settings.h"
#include "router/sdk_lock.h"
#include "router_sdk.h"
#include "subdev/online_report.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ParseJson.c";

constexpr std::size_t kUrlBytes = 256;
constexpr std::size_t kMacTextBytes = 32;
constexpr std::size_t kLongestPort = 7;
constexpr int kHttpPort = 80;
constexpr int kLongestReportMinutes = 19;
constexpr int kReportRoundsAMinute = 6;
constexpr std::size_t kMostReportBytes = 1024;

struct PlugJsonState {
    // Response thread only.
    PluginUpdate plugin;
    FirmwareUpdate firmware{};
};
constinit PlugJsonState state;

// What is done with the value of a key that is neither stored nor only logged. 0, or what ParserPlug returns.

int TakeMac(const cJSON& value) {
    ScanMac(value.valuestring, state.plugin.device);
    return 0;
}

int TakeRecognition(const cJSON& value) {
    state.plugin.recognition = static_cast<std::uint8_t>(value.valueint);
    return 0;
}

int TakeDownloadUrl(const cJSON& value) {
    PluginUpdate& update = state.plugin;
    update.path = {};
    const auto parts = SplitUrl(value.valuestring, PortMark::kAnywhere);
    if (!parts) return -1;
    if (parts->port) {
        PLUG_LOG(kDebug, "portlen %zu", parts->port->size());
        if (parts->port->size() > kLongestPort) return -1;
    }
    update.port = parts->port ? DecimalValue(*parts->port) : kHttpPort;
    CopyText(update.path, parts->path);
    update.server = {};
    PLUG_LOG(kDebug, "server len  %zu", parts->host.size());
    if (parts->host.size() >= update.server.size()) return -1;
    CopyText(update.server, parts->host);
    PLUG_LOG(kDebug, "port %d;mDownloadUrl : %s; mDownloadServer: %s ", update.port, update.path.data(),
             update.server.data());
    return 0;
}

int TakeReportInterval(const cJSON& value) {
    const int minutes = value.valueint;
    if (minutes == 0) {
        SetOnlineReport(false);
        PLUG_LOG(kDebug, "Close subdev auto report.");
    } else if (minutes > 0 && minutes <= kLongestReportMinutes) {
        SetOnlineReport(true, minutes * kReportRoundsAMinute);
        PLUG_LOG(kDebug, "Set subdev auto report %d minute.", minutes);
    } else {
        PLUG_LOG(kErr, "Set subdev auto report error.");
        return -1;
    }
    PLUG_LOG(kDebug, "func40Interval : %d", minutes);
    return 0;
}

enum class Kind : std::uint8_t { kAny, kText, kInteger };

/// One key of a DataType. A text is copied into `field`, an integer into `number`; without either, and
/// without `take`, the value is only logged.
struct Key {
    const char* name;
    Kind kind = Kind::kText;
    const char* label = nullptr;  // what the value is logged with; null: not logged
    std::size_t room = 0;         // for a text, with its NUL; 0: any length
    std::span<char> field{};
    int* number = nullptr;
    int (*take)(const cJSON& value) = nullptr;
    int missing = -1;                 // what ParserPlug returns without the key
    const char* complaint = nullptr;  // logged then
    LogLevel complaint_level = kDebug;
};

constexpr Key Text(const char* name, const char* label, std::span<char> field) {
    return {.name = name, .label = label, .room = field.size(), .field = field};
}
constexpr Key TakenText(const char* name, const char* label, std::size_t room, int (*take)(const cJSON&)) {
    return {.name = name, .label = label, .room = room, .take = take};
}
constexpr Key Integer(const char* name, const char* label, int* number) {
    return {.name = name, .kind = Kind::kInteger, .label = label, .number = number};
}
constexpr Key TakenInteger(const char* name, const char* label, int (*take)(const cJSON&)) {
    return {.name = name, .kind = Kind::kInteger, .label = label, .take = take};
}
constexpr Key Or(Key key, int missing, const char* complaint, LogLevel level = kDebug) {
    key.missing = missing;
    key.complaint = complaint;
    key.complaint_level = level;
    return key;
}

constexpr char kNoFromVersionText[] = "fromVersion is mismatching.";
constexpr char kNoToVersionText[] = "toVersion is mismatching.";

constexpr Key kUpdateCommandKeys[] = {
    Text("pluginID", "pluginID : ", state.plugin.plugin_id),
    Text("fromVersion", "fromVersion : ", state.plugin.from_version),
    Text("toVersion", "toVersion : ", state.plugin.to_version),
};
constexpr Key kUpdateFileKeys[] = {
    kUpdateCommandKeys[0],
    kUpdateCommandKeys[1],
    kUpdateCommandKeys[2],
    TakenText("url", "url : ", kUrlBytes, TakeDownloadUrl),
    Integer("fileLength", "fileLength : ", &state.plugin.file_length),
    Text("fileMD5", "fileMD5 : ", state.plugin.file_md5),
    Text("token", "token : ", state.plugin.token),
};
constexpr Key kOnlineKeys[] = {{.name = "result", .kind = Kind::kAny}};
constexpr Key kVipKeys[] = {TakenText("mac", "----------mac  : ", kMacTextBytes, TakeMac)};
constexpr Key kRecognitionKeys[] = {
    TakenText("mac", "mac  : ", kMacTextBytes, TakeMac),
    TakenInteger("result", "devrecog result  : ", TakeRecognition),
};
constexpr Key kRerecognitionKeys[] = {TakenText("mac", nullptr, kMacTextBytes, TakeMac)};
constexpr Key kFirmwareCommandKeys[] = {
    Or(Text("fromVersion", "fromVersion : ", state.firmware.from_version), kNoFromVersion,
       kNoFromVersionText),
    Or(Text("toVersion", "toVersion : ", {}), kNoToVersion, kNoToVersionText),
};
constexpr Key kFirmwareFileKeys[] = {
    Or(Text("fromVersion", "fromVersion : ", {}), kNoFromVersion, kNoFromVersionText),
    Or(Text("toVersion", "toVersion : ", state.firmware.to_version), kNoToVersion, kNoToVersionText),
    Or(Text("url", "url: ", state.firmware.url), kNoUrl, "url is null."),
    Or(Integer("fileLength", "fileLength : ", &state.firmware.file_length), kNoFileLength,
       "fileLength is null."),
    Or(Integer("checkMethod", "checkMethod : ", &state.firmware.check_method), kNoCheckMethod,
       "checkMethod is null."),
    Or(Text("chkSum", "MD5: ", state.firmware.check_sum), kNoCheckSum, "chkSum is null."),
};
constexpr Key kReportIntervalKeys[] = {
    Or(TakenInteger("func40Interval", nullptr, TakeReportInterval), -1, "func40Interval not found.", kErr),
};

struct DataTypeKeys {
    std::uint32_t type;
    std::span<const Key> keys;
};
constexpr DataTypeKeys kDataTypeKeys[] = {
    {1, kUpdateCommandKeys},   {2, kUpdateFileKeys},    {4, kOnlineKeys},           {5, kVipKeys},
    {6, kRecognitionKeys},     {7, kRerecognitionKeys}, {15, kFirmwareCommandKeys}, {16, kFirmwareFileKeys},
    {18, kReportIntervalKeys},
};

/// The value of a key, when it is there; a text also has to be one and to fit. Any other value has an
/// integer: of no number 1 for true, else 0.
const cJSON* FindValue(const cJSON* object, const Key& key) {
    const cJSON* const value = cJSON_GetObjectItem(object, key.name);
    if (key.kind != Kind::kText) return value;
    if (cJSON_GetStringValue(value) == nullptr) return nullptr;
    const std::size_t length = strlen(value->valuestring);
    if (key.room == 0 || length < key.room) return value;
    PLUG_LOG(kErr, "%s of %zu characters refused, at most %zu fit", key.name, length, key.room - 1);
    return nullptr;
}

void LogValue(const Key& key, const cJSON& value) {
    if (key.label == nullptr) return;
    if (key.kind == Kind::kInteger)
        PLUG_LOG(kDebug, "%s%d", key.label, value.valueint);
    else
        PLUG_LOG(kDebug, "%s%s", key.label, value.valuestring);
}

/// Reads one key. 0, or what ParserPlug returns.
int TakeKey(const cJSON* object, const Key& key) {
    const cJSON* const value = FindValue(object, key);
    if (value == nullptr) {
        if (key.complaint != nullptr) PLUG_LOG(key.complaint_level, "%s", key.complaint);
        return key.missing;
    }
    LogValue(key, *value);
    if (!key.field.empty()) CopyText(key.field, value->valuestring);
    if (key.number != nullptr) *key.number = value->valueint;
    return key.take != nullptr ? key.take(*value) : 0;
}

/// The name of the device whose MAC text is given. 0, or what BuildJson returns.
std::uint32_t FindDeviceName(const char* mac_text, char (&name)[32]) {
    if (strlen(mac_text) < 12) return 0xFFFF;
    MacAddress mac{};
    ScanMac(mac_text, mac);
    const SubdevLock lock;
    if (lock.error() != 0) {
        PLUG_LOG(kErr, "Get SubdevMutex failed");
        return static_cast<std::uint16_t>(lock.error());
    }
    return SdkCode(get_dev_name(mac.data(), name));
}

}  // namespace

const PluginUpdate& PluginRecord() {
    return state.plugin;
}

const FirmwareUpdate& FirmwareRecord() {
    return state.firmware;
}

void SetUpdateProcessed() {
    state.plugin.process = 1;
}

int ParserPlug(std::uint32_t data_type, const char* payload) {
    const LogAuthor author(__func__);
    if (payload == nullptr) return -1;
    const JsonPtr tree(cJSON_Parse(payload));
    if (!tree) return -1;
    if (data_type == 15) state.firmware = {};
    for (const DataTypeKeys& row : kDataTypeKeys) {
        if (row.type != data_type) continue;
        for (const Key& key : row.keys) {
            if (const int result = TakeKey(tree.get(), key); result != 0) return result;
        }
    }
    return 0;
}

std::uint32_t BuildJson(int kind, int result, const char* text, const char* data, std::span<char> out) {
    const LogAuthor author(__func__);
    const PluginUpdate& update = state.plugin;
    char name[32] = {};
    if (kind == 1 || kind == 5) {
        if (const std::uint32_t error = FindDeviceName(text, name); error != 0) return error;
    }
    char report[kMostReportBytes];
    int length = 0;
    switch (kind) {
        case 1:
            length = snprintf(report, sizeof report,
                              "{\"mac\":\"%s\",\"dev_name\":\"%.32s\",\"status\":\"online\"}", text, name);
            break;
        case 2:
            length = snprintf(report, sizeof report, "{\"mac\":\"%s\",\"status\":\"offline\"}", text);
            break;
        case 4:
            length = snprintf(report, sizeof report,
                              "{\"pluginID\":\"%s\",\"fromVersion\":\"%s\",\"toVersion\":\"%s\","
                              "\"process\":%d,\"result\":%d,\"resultDesc\":\"%s\"}",
                              update.plugin_id.data(), update.from_version.data(), update.to_version.data(),
                              update.process, result, text);
            break;
        case 5:
            length =
                snprintf(report, sizeof report, "{\"mac\":\"%s\",\"dev_name\":\"%.32s\",\"data\":\"%s\"}",
                         text, name, data != nullptr ? data : "");
            break;
        case 6:
            length = snprintf(report, sizeof report, "{\"devpin\":\"%s\",\"rate\":\"%d\"}",
                              PlatformSettings().pin.data(), MeasuredRate());
            break;
        default:
            return 0;
    }
    const auto size = static_cast<std::size_t>(length);
    if (length < 0 || size >= std::min(sizeof report, out.size())) {
        PLUG_LOG(kErr, "report of %d characters does not fit", length);
        return 1;
    }
    CopyText(out, {report, size});
    return 0;
}

}  // namespace plug
