// The test's end of the agent's clock: how fast it runs, by how much it was set forward, and
// what the time of day is.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "preload/clock.h"

namespace plug::preload {

class TestClock {
  public:
    /// Makes the file; the clock runs as the true one.
    explicit TestClock(const std::string& path);
    ~TestClock();
    TestClock(const TestClock&) = delete;
    TestClock& operator=(const TestClock&) = delete;

    /// From now on the clock runs `speed` times as fast as the true one.
    void Run(int speed) { Move(0, speed); }
    void JumpAhead(std::int64_t seconds) { Move(seconds, static_cast<int>(clock_->speed)); }
    /// The clock stands still when so much true time has passed since this, Run or JumpAhead were called
    /// last, so that it does not run away from a test that this machine keeps waiting.
    void Leash(std::chrono::nanoseconds true_time);
    /// The time of day is now so many seconds since 1970; elapsed time does not notice.
    void SetDay(std::int64_t seconds);

    /// Elapsed time and the time of day, in seconds, as the agent sees them now.
    double Elapsed() const;
    double Day() const;
    int speed() const { return static_cast<int>(clock_->speed); }

  private:
    void Move(std::int64_t seconds, int speed);

    Clock* clock_;
};

}  // namespace plug::preload
