// How a large fleet comes back, computed from the pauses that the agent and its supervisor make: each router
// goes through them by itself, by chance where they leave room. What `fleet --storm` does with real agents.
#pragma once

#include "bench/output.h"

namespace plug::bench {

struct StormOptions {
    std::string kind;  // restart, power or names
    int routers = 1'000'000;
    int away = 60;        // seconds that the platform or the name server is away
    int spread = 120;     // PLUG_SPREAD
    double standing = 1;  // hours since the login, when the platform goes
    std::string csv;      // a file for what happens in each second; empty: none
};

/// Prints the highest rates, and writes the curve. 0.
int ShowStorm(const StormOptions& options, Output& output);

}  // namespace plug::bench
