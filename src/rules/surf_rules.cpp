#include "rules/surf_rules.h"

#include <cstdio>

#include "core/json.h"
#include "core/log.h"
#include "core/sdk_code.h"
#include "core/text.h"
#include "router/device_access.h"
#include "router_sdk.h"
#include "rules/rule_list.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "eaccess.c";

enum Key : std::uint8_t { kFlag, kMac, kDay, kStart, kStop, kAllow, kKeyCount };
constexpr const char* kKeys[kKeyCount] = {"FLAG", "MAC", "DAY", "START", "STOP", "ALLOW"};
constexpr int kFirstMissing = 3;  // the code of an element without kKeys[0]

/// The member's text; null, too, for a MAC that no key has room for.
const char* ReadText(const cJSON* element, std::size_t key) {
    const char* const text = JsonString(element, kKeys[key]);
    if (key != kMac || text == nullptr || strlen(text) <= kLongestRuleMac) return text;
    PLUG_LOG(kErr, "%s of %zu characters refused", kKeys[key], strlen(text));
    return nullptr;
}

bool IsDigit(std::string_view text) {
    return text == "0" || text == "1";
}

int ApplyElement(const cJSON* element) {
    const char* texts[kKeyCount];
    for (std::size_t i = 0; i < kKeyCount; ++i) {
        texts[i] = ReadText(element, i);
        if (texts[i] != nullptr) continue;
        PLUG_LOG(kErr, "Wrong surf rule param");
        return kFirstMissing + static_cast<int>(i);
    }
    PLUG_LOG(kDebug, "flag:%s\n dev_mac:%s\n weekdays:%s\n start_time:%s\n stop_time:%s\n allowable:%s\n",
             texts[kFlag], texts[kMac], texts[kDay], texts[kStart], texts[kStop], texts[kAllow]);
    if (!IsDigit(texts[kFlag]) || !IsDigit(texts[kAllow])) {
        PLUG_LOG(kDebug, "Wrong surf rule param");
        return kRulesUnusable;
    }
    CommitSurfRule(texts[kFlag][0] - '0', texts[kAllow][0] - '0', texts[kMac], texts[kDay], texts[kStart],
                   texts[kStop]);
    return kRulesDone;
}

AccessWindow ReadWindow(const char* start, const char* stop) {
    AccessWindow window;
    sscanf(start, "%d:%d", &window.start_hour, &window.start_minute);
    sscanf(stop, "%d:%d", &window.stop_hour, &window.stop_minute);
    return window;
}

/// Takes the window out of the key's entry; `emptied` receives the entry's key when no window is left. 0, or
/// -1 without an entry.
int DeleteWindow(const RuleKey& key, const AccessWindow& window, RuleKey& emptied) {
    const Guard guard(SurfRuleMutex());
    RuleEntry* const entry = hash_table_lookup(key.data());
    PLUG_LOG(kInfo, "Del from surf rule %s %p", key.data(), static_cast<const void*>(entry));
    PLUG_LOG(kInfo, "rule - %d:%d %d:%d", window.start_hour, window.start_minute, window.stop_hour,
             window.stop_minute);
    if (entry == nullptr) {
        PLUG_LOG(kErr, "hash node is NULL for %s", key.data());
        return -1;
    }
    entry->windows = rule_node_delete(entry->windows, &window);
    if (entry->windows == nullptr) CopyText(emptied, entry->key);
    return 0;
}

/// Gives a restricted device its access back.
void RestoreAccess(const char* mac_text, const MacAddress& mac) {
    dev_cfg device{};
    if (SdkCode(get_dev_cfg(&device, mac.data())) != 0 || device.access != 0) return;
    device.access = 1;
    SetDeviceAccess(device);
    PLUG_LOG(kDebug, "set_dev_access_control for: %s to 1", mac_text);
}

}  // namespace

int ParseSurfRulesParam(const char* json) {
    const LogAuthor author(__func__);
    if (json == nullptr) {
        PLUG_LOG(kErr, "Json is null.");
        return kRulesNull;
    }
    const JsonPtr rules(cJSON_Parse(json));
    if (rules == nullptr) {
        PLUG_LOG(kErr, "Parse json failed.");
        return kRulesNoJson;
    }
    return WalkRuleList(rules.get(), ApplyElement);
}

int CommitSurfRule(int flag, int /*allow*/, const char* mac, const char* days, const char* start,
                   const char* stop) {
    const LogAuthor author(__func__);
    if (mac == nullptr || days == nullptr || start == nullptr || stop == nullptr) {
        PLUG_LOG(kErr, "Wrong surf rule");
        return -1;
    }
    const AccessWindow window = ReadWindow(start, stop);
    for (int day = 1; day <= 7; ++day) {
        if (strchr(days, '0' + day) == nullptr) continue;
        if (flag == 1) set_surf_rule(mac, day, window);
        if (flag == 0) del_surf_rule(mac, day, window);
    }
    return 0;
}

int set_surf_rule(const char* mac, int day, const AccessWindow& window) {
    const LogAuthor author(__func__);
    const RuleKey key = MakeRuleKey(mac, day);
    const Guard guard(SurfRuleMutex());
    if (RuleEntry* const entry = hash_table_lookup(key.data()); entry != nullptr)
        entry->windows = rule_node_insert(entry->windows, &window);
    else
        hash_table_insert(key.data(), window);
    PLUG_LOG(kInfo, "Add surf rule %s", key.data());
    return 0;
}

int del_surf_rule(const char* mac_text, int day, const AccessWindow& window) {
    const LogAuthor author(__func__);
    MacAddress mac{};
    ScanColonMac(mac_text, mac);
    const RuleKey key = MakeRuleKey(mac_text, day);
    RuleKey emptied{};
    if (const int result = DeleteWindow(key, window, emptied); result != 0 || emptied[0] == '\0')
        return result;
    RestoreAccess(mac_text, mac);
    PLUG_LOG(kDebug, "surf rule %s removed.", emptied.data());
    const Guard guard(SurfRuleMutex());
    hash_table_remove(emptied.data());
    return 0;
}

}  // namespace plug
