// The agent under load from both sides at once.
#pragma once

#include "bench/output.h"

namespace plug::bench {

struct SoakOptions {
    int seconds = 60;
    int rule_changes = 10'000;
};

/// Runs the agent while the local peer reports as fast as the agent accepts and reconnects again and again,
/// and the platform sends commands one after the other; then through many changes of access windows and
/// limits. Prints counts, and what the agent holds before and after: memory, descriptors, threads. 0, or 1
/// when the agent ended, did not answer any more, or grew with the changes.
int SoakAgent(const SoakOptions& options, Output& output);

}  // namespace plug::bench
