// How evenly the automatic reports of many routers fall over the day and the cycle, computed by the agent's
// own function of the report times.
#pragma once

#include "bench/output.h"

namespace plug::bench {

struct SpreadOptions {
    int routers = 1'000'000;
    std::string csv;  // a file for the reports of each ten minutes; empty: none
};

/// Prints, for several numbers of slots, the fullest minute against the mean, and writes the file. 0.
int ShowSpread(const SpreadOptions& options, Output& output);

}  // namespace plug::bench
