#include "commserver/auto_report_config.h"

#include <cstdio>
#include <cstdlib>

#include "commserver/comm_request.h"
#include "commserver/comm_send.h"
#include "core/clock.h"
#include "core/json.h"
#include "core/log.h"
#include "core/sync.h"
#include "core/text.h"
#include "platform/identity.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "CommServer.c";

constexpr std::uint16_t kSetFuncId = 88;
constexpr std::uint16_t kGetFuncId = 997;
constexpr char kSetFailure[] = "ERROR: send set autoreport switch command failed!";
constexpr unsigned kFailed = 1;
constexpr std::size_t kMaxConfig = 1023;
constexpr std::int64_t kMostServerDiff = 90;  // seconds between the platform's and the router's clock

using ConfigText = std::array<char, kMaxConfig + 1>;
using Message = std::array<char, 501>;

struct ConfigState {
    Mutex mutex;
    ReportSettings settings PLUG_CHECKED(guarded_by(mutex));
};
constinit ConfigState state;

/// What the platform and the local peer both tell, where present.
void ReadSettings(const cJSON* json, ReportSettings& settings) {
    const auto read = [json](const char* key, int& value) { value = JsonInteger(json, key).value_or(value); };
    read("referNum", settings.refer_num);
    read("interval1", settings.interval1);
    read("interval2", settings.interval2);
    read("interval3", settings.interval3);
    const char* const jump_time = JsonString(json, "jumpTime");
    if (jump_time == nullptr) return;
    if (const std::size_t length = strlen(jump_time); length >= 9 && length <= 11)
        CopyText(settings.jump_time, jump_time);
}

bool ValidReferNum(int refer_num) {
    if (refer_num >= 5 && refer_num <= 20'000'000) return true;
    PLUG_LOG(kErr, "referNum is error !!!!!!");
    return false;
}

bool ReportsWanted(const ReportSettings& settings) {
    return settings.interval2 >= 1 || settings.interval3 >= 1;
}

/// The times of this router. 0 or -1.
int TimesFor(const ReportSettings& settings, std::int64_t now, ReportTimes& times) {
    const MacAddress& mac = RouterMac();
    const int mac_value = mac[3] * 65536 + mac[4] * 256 + mac[5];
    PLUG_LOG(kDebug, "MacVal: %d", mac_value);
    const std::int64_t midnight = ReportsWanted(settings) ? LocalMidnight(now) : 0;
    return ComputeReportTimes(now, midnight, mac_value, settings, times);
}

/// What is in a message of `length` characters as printed; the rest of a longer one is cut.
ConstBytes Written(const Message& message, int length) {
    if (static_cast<std::size_t>(length) >= message.size())
        PLUG_LOG(kErr, "auto report info of %d bytes is cut to %zu", length, message.size() - 1);
    const ConstBytes written = AsBytes(message.data());
    PLUG_LOG(kDebug, "set auto report info:\n%s, length=%zu", message.data(), written.size());
    return written;
}

void StoreIntervals(const ReportSettings& from) {
    const Guard guard(state.mutex);
    state.settings.interval1 = from.interval1;
    state.settings.interval2 = from.interval2;
    state.settings.interval3 = from.interval3;
}

ReportSettings CurrentSettings() {
    const Guard guard(state.mutex);
    return state.settings;
}

void StoreSettings(const ReportSettings& settings) {
    const Guard guard(state.mutex);
    state.settings = settings;
}

/// Sets the difference to the platform's clock. 0, or -1 when it is too large.
int TakeServerDiff(const cJSON* json, std::int64_t now, ReportSettings& settings) {
    if (!ReportsWanted(settings)) return 0;
    const std::int64_t difference = JsonInteger(json, "timestamp").value_or(0) - now;
    if (std::abs(difference) > kMostServerDiff) {
        PLUG_LOG(kErr, "Calibration time error !!!!!!");
        return -1;
    }
    settings.server_diff = static_cast<int>(difference);
    return 0;
}

}  // namespace

void ResetAutoReport() {
    ReportSettings settings;
    settings.refer_num = 0;
    StoreSettings(settings);
}

ReportIntervals AutoReportIntervals() {
    const ReportSettings settings = CurrentSettings();
    return {settings.interval1, settings.interval2, settings.interval3};
}

unsigned ComF_set_auto_report(std::string_view text) {
    const LogAuthor author(__func__);
    if (text.size() < 2 || text.size() > kMaxConfig) return kFailed;
    ConfigText config;
    CopyText(config, text);
    PLUG_LOG(kDebug, "Receive 88 info:\n%s, length=%zu", config.data(), text.size());
    const JsonPtr json(cJSON_Parse(config.data()));
    ReportSettings settings;
    ReadSettings(json.get(), settings);
    if (!ValidReferNum(settings.refer_num)) return kFailed;
    const std::int64_t now = WallSeconds();
    ReportTimes times;
    if (TakeServerDiff(json.get(), now, settings) != 0 || TimesFor(settings, now, times) != 0) return kFailed;

    config[strlen(config.data()) - 1] = '\0';  // the closing brace: more members follow
    Message message;
    const int length =
        snprintf(message.data(), message.size(),
                 "%s,\"serverDiff\":%d,\"dayReportTime\":\"%f\",\"cycleReportStart\":\"%f\",\"save\":1}",
                 config.data(), settings.server_diff, times.day, times.cycle_start);
    const ConstBytes written = Written(message, length);
    StoreIntervals(settings);
    return RequestResult({__func__, kSetFuncId, kUsualPolls, kSetFailure}, written);
}

unsigned ComF_get_autoreport_conf() {
    const LogAuthor author(__func__);
    LocalReply reply;
    const RequestOutcome outcome = Exchange(
        {__func__, kGetFuncId, kUsualPolls, "ERROR: get auto report config info failed!", true}, {}, reply);
    if (outcome == RequestOutcome::kNotSent) return kFailed;
    PLUG_LOG(kDebug, "DEBUG: get auto report config info success.");
    return outcome == RequestOutcome::kReplied ? reply.result : kFailed;
}

void Comm_get_88Conf(ConstBytes payload) {
    const LogAuthor author(__func__);
    ReportSettings settings;
    if (payload.size() >= 5 && payload.size() <= kMaxConfig && payload[0] == 0) {
        ConfigText config;
        CopyText(config, AsText(payload.subspan(1)));
        PLUG_LOG(kDebug, "Receive 88 info:\n%s, length=%zu", config.data(), payload.size());
        const JsonPtr json(cJSON_Parse(config.data()));
        ReadSettings(json.get(), settings);
        settings.server_diff = JsonInteger(json.get(), "serverDiff").value_or(settings.server_diff);
    }
    StoreSettings(settings);
}

void ComF_send_calibration() {
    const LogAuthor author(__func__);
    const ReportSettings settings = CurrentSettings();
    if (!ValidReferNum(settings.refer_num)) return;
    if (settings.interval2 == 0 && settings.interval3 == 0) {
        PLUG_LOG(kDebug, "Function 89 closed, no need calibration!");
        return;
    }
    if (settings.interval2 == -1 && settings.interval3 == -1) {
        PLUG_LOG(kDebug, "Function 89 no config, no need calibration!");
        return;
    }
    ReportTimes times;
    if (TimesFor(settings, WallSeconds(), times) != 0) return;
    Message message;
    const int length =
        snprintf(message.data(), message.size(),
                 "{\"interval1\":%d,\"interval2\":%d,\"interval3\":%d,\"dayReportTime\":\"%f\","
                 "\"cycleReportStart\":\"%f\",\"save\":0}",
                 settings.interval1, settings.interval2, settings.interval3, times.day, times.cycle_start);
    if (CommSendCmd(kSetFuncId, Written(message, length)) != 0) {
        PLUG_LOG(kErr, "%s", kSetFailure);
        return;
    }
    PLUG_LOG(kDebug, "Send calibration success, No need return!");
}

}  // namespace plug
