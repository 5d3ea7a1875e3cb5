// What the access windows ask for at a given time. One pass holds SubdevMutex and, for each look into the
// rule table only, SurfRuleMutex.
#pragma once

#include <optional>

#include "core/clock.h"
#include "router_sdk.h"
#include "rules/surf_rule_table.h"

namespace plug {

/// The access flag that the device must get now: 0 inside a window of today, 1 outside of all of them; none
/// when it has no rule for today or already has that flag. Weekday 0 (Sunday) has no rules, and a rule is
/// found only under an upper-case MAC.
std::optional<std::uint8_t> DueAccess(const CalendarTime& now, const dev_cfg& device)
    PLUG_CHECKED(requires_capability(SurfRuleMutex()));

/// One pass over the attached devices at the local time `now`.
void surf_rule_func(const CalendarTime& now);

}  // namespace plug
