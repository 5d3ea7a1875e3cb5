// The life of the simulated home, as something to look at: devices come and go, their signal, speed and
// traffic change, guests bring devices of their own, counters move.
#pragma once

#include <random>

#include "bench/layout.h"

namespace plug::bench {

class HomeLife {
  public:
    /// With the same seed the same homes have the same life.
    explicit HomeLife(std::uint32_t seed) : dice_(seed) {}

    /// Lets a home, as the state file has it, live for so long. Who came and who went meanwhile:
    /// [{"home": "comes" or "goes", "mac": .., "name": ..}].
    Json Step(Json& home, double seconds);

  private:
    /// A number of from..to.
    int Roll(int from, int to) {
        return from + static_cast<int>(dice_() % static_cast<unsigned>(to - from + 1));
    }
    bool OnceIn(int steps) { return Roll(1, steps) == 1; }
    /// Changes a number by at most `stride`, within its bounds.
    void Walk(Json& number, int stride, int least, int most);

    void ComeAndGo(Json& home, Json& events);
    void BringGuest(Json& home, Json& events);
    void LiveOn(Json& device);
    static void Count(Json& home, double seconds);

    std::mt19937 dice_;
};

}  // namespace plug::bench
