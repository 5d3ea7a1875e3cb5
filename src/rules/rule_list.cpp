#include "rules/rule_list.h"

#include "platform/link_state.h"

namespace plug {
int WalkRuleList(const cJSON* rules, int (*apply)(const cJSON* element)) {
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, cJSON_GetObjectItem(rules, "LIST")) {
        const int code = apply(element);
        if (code == kRulesUnusable) {
            HoldUntilLost();  // trying it again always comes to the same
            break;
        }
        if (code != kRulesDone) return code;
    }
    return kRulesDone;
}

}  // namespace plug
