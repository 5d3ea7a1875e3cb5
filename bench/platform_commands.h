// The platform's commands that keep nothing in mind: each function registers a topic of them with the
// dialog's interpreter.
#pragma once

#include "bench/dialog.h"

namespace plug::bench {

class HttpCommands;

/// Every function command by its name, and raw ones.
void AddFunctionCommands(Dialog& dialog);
/// What a network or a broken platform does to an agent.
void AddMischiefCommands(Dialog& dialog);
/// Ping, traceroute and rate test from their start to their result.
void AddDiagnosticCommands(Dialog& dialog);
/// Plug data, by name and raw. Orders to download a file take its length and checksum from `http`.
void AddPlugCommands(Dialog& dialog, const HttpCommands& http);

}  // namespace plug::bench
