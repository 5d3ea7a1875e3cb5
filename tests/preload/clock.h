// The clock that a test gives to the agent: a file that both map. Elapsed time runs on from an anchor at a
// speed; the test moves the anchor, under a sequence number that is odd while it does. The time of day runs
// with it, at a distance that the test may change.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace plug::preload {

constexpr char kClockVariable[] = "PLUG_TEST_CLOCK";  // path of the file with a Clock
constexpr char kStatusesVariable[] =
    "PLUG_TEST_STATUSES";  // path of a file to which every status is appended

/// Times in nanoseconds of CLOCK_MONOTONIC, true and as the agent sees them.
struct Clock {
    std::atomic<std::uint32_t> sequence;
    std::atomic<std::int64_t> true_anchor;
    std::atomic<std::int64_t> shown_anchor;
    std::atomic<std::int64_t> speed;
    std::atomic<std::int64_t> leash;  // true time after which it stands still until the test moves it
    std::atomic<std::int64_t> day;    // CLOCK_REALTIME less CLOCK_MONOTONIC, as the agent sees them

    std::int64_t Shown(std::int64_t true_time) const {
        for (;;) {
            const std::uint32_t before = sequence;
            const std::int64_t ran = std::min<std::int64_t>(true_time - true_anchor, leash);
            const std::int64_t shown = shown_anchor + ran * speed;
            if (before % 2 == 0 && sequence == before) return shown;
        }
    }
};
static_assert(std::atomic<std::int64_t>::is_always_lock_free);

}  // namespace plug::preload
