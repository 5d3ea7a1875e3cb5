#include "core/clock.h"

#include <cerrno>
#include <ctime>

namespace plug {

std::int64_t WallSeconds() {
    return time(nullptr);
}

std::int64_t MonotonicMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

std::int64_t MonotonicSeconds() {
    return MonotonicMilliseconds() / 1000;
}

CalendarTime LocalCalendar(std::int64_t wall_seconds) {
    const time_t when = static_cast<time_t>(wall_seconds);
    tm local{};
    localtime_r(&when, &local);
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
            local.tm_min,         local.tm_sec,     local.tm_wday};
}

std::int64_t LocalMidnight(std::int64_t wall_seconds) {
    const time_t when = static_cast<time_t>(wall_seconds);
    tm local{};
    localtime_r(&when, &local);
    local.tm_hour = local.tm_min = local.tm_sec = 0;
    local.tm_isdst = -1;  // the night may have changed the clock since
    return mktime(&local);
}

void Pace(std::int64_t milliseconds) {
    timespec left{static_cast<time_t>(milliseconds / 1000),
                  static_cast<long>(milliseconds % 1000) * 1'000'000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace plug
