// What the rule commands share: the walk over a LIST of elements.
#pragma once

#include <cjson/cJSON.h>

namespace plug {

/// The common results of the rule parsers; what is missing in an element has further codes.
enum RuleCode : int {
    kRulesDone = 0,
    kRulesNull = 1,
    kRulesNoJson = 2,
    kRulesUnusable = -1,  // of one element: it can never be applied
};

/// Applies the elements of LIST in their order; none when it is missing. A positive code of `apply` ends the
/// walk and is returned. An unusable element is tried again and again, which blocks the caller until the
/// login is lost; then the walk ends as if done.
int WalkRuleList(const cJSON* rules, int (*apply)(const cJSON* element));

}  // namespace plug
