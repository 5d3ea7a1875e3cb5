// The test's end of the agent's clock: how fast it runs, and by how much it was set forward.
#pragma once

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

  private:
    void Move(std::int64_t seconds, int speed);

    Clock* clock_;
};

}  // namespace plug::preload
