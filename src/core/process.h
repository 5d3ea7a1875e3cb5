// How the process begins and ends.
#pragma once

namespace plug {

/// Readies the process before anything else: only the owner may write what the agent and its programs create,
/// the standard descriptors that are closed are opened, so that no socket ever gets number 0, 1 or 2, and the
/// heap stays in one arena where the C library would give each thread its own.
void PrepareProcess();

/// Ends the process with status 255, for its supervisor to start it again. At once: other threads still run,
/// and may hold what the C library's exit would wait for.
[[noreturn]] void EndProcess();

}  // namespace plug
