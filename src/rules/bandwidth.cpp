#include "rules/bandwidth.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "core/json.h"
#include "core/log.h"
#include "core/text.h"
#include "router_sdk.h"
#include "rules/rule_list.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "RouteFunc.c";

constexpr const char* kKeys[] = {"FLAG", "MAC", "UP", "DOWN"};
constexpr int kFirstMissing = 3;  // the code of an element without kKeys[0]

/// The SDK's limit: a signed 32-bit number, widened with its sign.
std::uint64_t Limit(const char* text) {
    const long number = strtol(text, nullptr, 10);
    return static_cast<std::uint64_t>(std::clamp<long>(number, INT_MIN, INT_MAX));
}

void SetLimits(const MacAddress& mac, std::uint64_t up, std::uint64_t down) {
    const auto up_result = static_cast<std::uint16_t>(set_dev_us_max_bw(mac.data(), up));
    const auto down_result = static_cast<std::uint16_t>(set_dev_ds_max_bw(mac.data(), down));
    PLUG_LOG(kDebug, "set_dev_us_max_bw result: %d", up_result);
    PLUG_LOG(kDebug, "set_dev_ds_max_bw result: %d", down_result);
}

int ApplyLimits(std::string_view flag, const char* mac_text, const char* up, const char* down) {
    MacAddress mac{};
    if (ScanColonMac(mac_text, mac) == EOF) {
        PLUG_LOG(kDebug, "Wrong tc rule param dev_mac");
        return kRulesUnusable;
    }
    if (flag == "1") {
        SetLimits(mac, Limit(up), Limit(down));
        return kRulesDone;
    }
    if (flag == "0") {
        PLUG_LOG(kDebug, "flag = 0, clean tc rules");
        SetLimits(mac, 0, 0);
        return kRulesDone;
    }
    PLUG_LOG(kDebug, "Wrong tc rule param flag");
    return kRulesUnusable;
}

int ApplyElement(const cJSON* element) {
    std::array<const char*, std::size(kKeys)> texts{};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const cJSON* const member = cJSON_GetObjectItem(element, kKeys[i]);
        if (member == nullptr) return kFirstMissing + static_cast<int>(i);
        texts[i] = cJSON_GetStringValue(member);
    }
    const auto shown = [&texts](std::size_t i) { return texts[i] != nullptr ? texts[i] : "(null)"; };
    PLUG_LOG(kDebug, "\nflag:%s\n dev_mac:%s\n up_flow:%s\n down_flow:%s\n", shown(0), shown(1), shown(2),
             shown(3));
    if (std::find(texts.begin(), texts.end(), nullptr) != texts.end()) {
        PLUG_LOG(kDebug, "Wrong tc rule param");
        return kRulesUnusable;
    }
    return ApplyLimits(texts[0], texts[1], texts[2], texts[3]);
}

}  // namespace

int ParseTcParam(const char* json) {
    const LogAuthor author(__func__);
    if (json == nullptr) return kRulesNull;
    const JsonPtr rules(cJSON_Parse(json));
    if (rules == nullptr) {
        PLUG_LOG(kErr, "Parse json failed.");
        return kRulesNoJson;
    }
    return WalkRuleList(rules.get(), ApplyElement);
}

}  // namespace plug
