// The reference of the function commands as Markdown, with examples from a session with a real agent.
#pragma once

#include "bench/platform.h"

namespace plug::bench {

/// Writes it to standard output. Every example is a command that an agent answers now, over a simulated home
/// that is as new; ping and traceroute are programs that print a fixed text. Wants a sandbox. 0 when all
/// commands could be shown.
int PrintReference(const PlatformOptions& options);

}  // namespace plug::bench
