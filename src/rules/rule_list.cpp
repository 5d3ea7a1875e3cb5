#include "rules/rule_list.h"

#include "platform/link_state.h"

namespace plug {
namespace {

constexpr int kRetryMilliseconds = 100;

/// Trying an unusable element again always comes to the same, so between the tries there is only the look
/// whether the link still stands. Without a login there is nobody to hold the command for.
void RetryUntilLinkLost() {
    while (LoggedIn() && !WaitLinkError(kRetryMilliseconds)) {
    }
}

}  // namespace

int WalkRuleList(const cJSON* rules, int (*apply)(const cJSON* element)) {
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, cJSON_GetObjectItem(rules, "LIST")) {
        const int code = apply(element);
        if (code == kRulesUnusable) {
            RetryUntilLinkLost();
            break;
        }
        if (code != kRulesDone) return code;
    }
    return kRulesDone;
}

}  // namespace plug
