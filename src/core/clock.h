// The clocks. Elapsed time is measured on the monotonic clock, because a router's wall clock jumps at its
// first time synchronisation; the wall clock serves only what is shown or sent as calendar time.
#pragma once

#include <cstdint>

namespace plug {

/// Seconds since 1970, as the router's wall clock has it.
std::int64_t WallSeconds();
/// Seconds and milliseconds since an arbitrary start; never jump.
std::int64_t MonotonicSeconds();
std::int64_t MonotonicMilliseconds();

/// Broken-down local time; weekday 0 is Sunday. The time zone is the router's as it is set now, also when it
/// was set after the agent's start. Any thread.
struct CalendarTime {
    int year, month, day, hour, minute, second, weekday;
};
CalendarTime LocalCalendar(std::int64_t wall_seconds);

/// The start of the local calendar day of `wall_seconds`, also on the day of a clock change.
std::int64_t LocalMidnight(std::int64_t wall_seconds);

/// A pause that paces work or gives others time; it is always served in full.
void Pace(std::int64_t milliseconds);

}  // namespace plug
