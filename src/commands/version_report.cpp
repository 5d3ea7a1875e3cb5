#include "commands/version_report.h"

#include <cstdio>

#include "commands/answer.h"
#include "core/log.h"
#include "core/text.h"
#include "core/version.h"
#include "platform/uplink.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ProtoolSdk.c";

constexpr std::uint8_t kReportType = 14;
constexpr int kUnset = -1;

}  // namespace

JsonPtr VersionReport(const router_version& firmware, const ReportIntervals& intervals) {
    char date[16];
    snprintf(date, sizeof date, "%02d%02d%02d%02d", firmware.date[0], firmware.date[1], firmware.date[2],
             firmware.date[3]);
    PLUG_LOG(kDebug, "fwDate:%s", date);
    const std::string_view version = FieldText(firmware.version);
    char dated_version[sizeof firmware.version + sizeof date];
    snprintf(dated_version, sizeof dated_version, "%.*s%s", static_cast<int>(version.size()), version.data(),
             date);
    const bool configured = intervals.interval2 != kUnset && intervals.interval3 != kUnset;

    JsonPtr report(cJSON_CreateObject());
    const bool complete =
        cJSON_AddStringToObject(report.get(), "version", dated_version) != nullptr &&
        cJSON_AddStringToObject(report.get(), "sdkVersion", kVersion) != nullptr &&
        cJSON_AddNumberToObject(report.get(), "interval1", intervals.interval1) != nullptr &&
        cJSON_AddNumberToObject(report.get(), "interval2", intervals.interval2) != nullptr &&
        cJSON_AddNumberToObject(report.get(), "interval3", intervals.interval3) != nullptr &&
        cJSON_AddStringToObject(report.get(), "configed", configured ? "yes" : "no") != nullptr;
    if (!complete) return nullptr;
    return report;
}

int dev_fwversion_report() {
    const LogAuthor author(__func__);
    router_version firmware{};
    if (SdkCode(get_router_version(&firmware)) != 0) return -1;
    const JsonPtr report = VersionReport(firmware, AutoReportIntervals());
    if (!report) return -1;
    const JsonText text(cJSON_PrintUnformatted(report.get()));
    if (!text) return -2;
    SendIpUpData(AsBytes(text.get()), kReportType, nullptr);
    PLUG_LOG(kDebug, "fwversion:\n%s", text.get());
    return 0;
}

}  // namespace plug
