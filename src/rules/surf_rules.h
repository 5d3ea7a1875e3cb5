// The platform's access windows: per device and weekday, from when to when it is kept off the internet.
// Response thread.
#pragma once

#include "rules/surf_rule_table.h"

namespace plug {

/// Applies {"LIST":[{"FLAG":"1","MAC":"AA:BB:CC:DD:EE:FF","DAY":"135","START":"08:00","STOP":"09:00",
/// "ALLOW":"0"}]} in its order; FLAG 0 deletes. 0 done, 1 without a text, 2 no JSON, 3 to 8 an element
/// without FLAG, MAC, DAY, START, STOP, ALLOW (those before it stay applied). An element with another FLAG or
/// ALLOW than 0 and 1 blocks: see rule_list.h.
int ParseSurfRulesParam(const char* json);

/// Adds (flag 1) or deletes (flag 0) the window on each weekday whose digit `days` has. 0, or -1 when a text
/// is null. `allow` changes nothing: a rule is only a window.
int CommitSurfRule(int flag, int allow, const char* mac, const char* days, const char* start,
                   const char* stop);

/// Adds one window of one weekday (1 to 7). 0.
int set_surf_rule(const char* mac, int day, const AccessWindow& window);
/// Deletes one; with the last of its day the device gets its access back. 0, or -1 when that day has none.
int del_surf_rule(const char* mac, int day, const AccessWindow& window);

}  // namespace plug
