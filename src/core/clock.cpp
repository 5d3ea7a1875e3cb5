#include "core/clock.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "core/sync.h"

namespace plug {
namespace {

constexpr char kZoneFile[] = "/etc/localtime";

struct ZoneState {
    Mutex mutex;
    bool known PLUG_CHECKED(guarded_by(mutex)) = false;
    bool own_name PLUG_CHECKED(guarded_by(mutex)) = false;  // the environment's TZ is given here
    bool other_name PLUG_CHECKED(guarded_by(mutex)) = false;
    struct stat file PLUG_CHECKED(guarded_by(mutex)) {};  // as it was read last
};
constinit ZoneState state;

bool SameFile(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino &&
           one.st_mtim.tv_sec == other.st_mtim.tv_sec && one.st_mtim.tv_nsec == other.st_mtim.tv_nsec;
}

/// Takes over a zone that was set since the last call. A C library may read the file again only under another
/// name, so it is given two names in turn.
void FollowZone() PLUG_CHECKED(requires_capability(state.mutex)) {
    if (!state.own_name && getenv("TZ") != nullptr) return;  // fixed for the life of the process
    struct stat file {};
    if (stat(kZoneFile, &file) != 0) file = {};
    const bool changed = state.known && !SameFile(file, state.file);
    state.known = true;
    state.file = file;
    if (!changed) return;
    state.own_name = true;
    state.other_name = !state.other_name;
    // Constant texts, as other threads may hand the environment to programs meanwhile.
    static char one[] = "TZ=/etc/localtime";
    static char other[] = "TZ=/etc/./localtime";
    putenv(state.other_name ? other : one);
    tzset();
}

tm LocalTime(std::int64_t wall_seconds) PLUG_CHECKED(requires_capability(state.mutex)) {
    FollowZone();
    const time_t when = static_cast<time_t>(wall_seconds);
    tm local{};
    localtime_r(&when, &local);
    return local;
}

}  // namespace

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
    const Guard guard(state.mutex);
    const tm local = LocalTime(wall_seconds);
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
            local.tm_min,         local.tm_sec,     local.tm_wday};
}

std::int64_t LocalMidnight(std::int64_t wall_seconds) {
    const Guard guard(state.mutex);
    tm local = LocalTime(wall_seconds);
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
