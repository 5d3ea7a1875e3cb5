// What the network diagnostics (ping, traceroute, rate test) have in common.
#pragma once

namespace plug {

/// The answer to a start while the same diagnostic runs.
constexpr int kDiagnosticBusy = 1;

/// Kills a running traceroute and waits for the workers of all diagnostics: a part of the end in order. Any
/// other end is at once and leaves the programs to themselves. Response thread, or once it has ended.
void StopDiagnostics();

}  // namespace plug
