#include "fakes/clock.h"

#include <atomic>
#include <ctime>

namespace plug {
namespace {

constinit std::atomic<std::int64_t> passed{0};  // milliseconds

}  // namespace

std::int64_t WallSeconds() {
    return test::kFakeStart + MonotonicSeconds();
}

std::int64_t MonotonicMilliseconds() {
    return passed;
}

std::int64_t MonotonicSeconds() {
    return passed / 1000;
}

CalendarTime LocalCalendar(std::int64_t wall_seconds) {
    const time_t when = static_cast<time_t>(wall_seconds);
    tm local{};
    gmtime_r(&when, &local);
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
            local.tm_min,         local.tm_sec,     local.tm_wday};
}

std::int64_t LocalMidnight(std::int64_t wall_seconds) {
    return wall_seconds / 86'400 * 86'400;
}

void Pace(std::int64_t milliseconds) {
    test::AdvanceClock(milliseconds);
}

void test::AdvanceClock(std::int64_t milliseconds) {
    passed += milliseconds;
}

}  // namespace plug
