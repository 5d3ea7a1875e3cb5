// What the network diagnostics (ping, traceroute, rate test) have in common.
#pragma once

namespace plug {

/// The answer to a start while the same diagnostic runs.
constexpr int kDiagnosticBusy = 1;

/// Kills a running traceroute and waits for the workers of all diagnostics, for whoever stops the agent in an
/// orderly way; the process itself leaves by exit, and its children end on their own. Response thread, or
/// once it has ended.
void StopDiagnostics();

}  // namespace plug
