// A clock for core/clock.h that stands still except for pauses, which move it on instead of being served.
// Local time is UTC.
#pragma once

#include "core/clock.h"

namespace plug::test {

/// What the clock starts at: a Monday noon.
constexpr std::int64_t kFakeStart = 1'700'481'600;

void AdvanceClock(std::int64_t milliseconds);

}  // namespace plug::test
