// The agent under load from both sides at once.
#pragma once

#include "bench/output.h"

namespace plug::bench {

struct SoakOptions {
    int seconds = 60;
};

/// Runs the agent while the local peer reports as fast as the agent accepts and reconnects again and again,
/// and the platform sends commands one after the other. Prints counts, and memory, descriptors and threads
/// before and after. 0, or 1 when the agent ended or did not answer any more.
int SoakAgent(const SoakOptions& options, Output& output);

}  // namespace plug::bench
