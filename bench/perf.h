// Measurements of the real agent over the simulated router.
#pragma once

#include "bench/output.h"

namespace plug::bench {

struct PerfOptions {
    int idle_seconds = 60;
    int round_trips = 300;
    int pipelined = 200;
    int starts = 3;
};

/// Runs the agent beside this program through all measurements and prints them. 0, or 1 when one could not be
/// taken.
int MeasureAgent(const PerfOptions& options, Output& output);

}  // namespace plug::bench
