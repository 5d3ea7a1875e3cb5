// The interactive console: a prompt with history and completion, and news printed above it as they come.
//
// Ctrl-C ends the running command, or takes the typed line away; twice at an empty line it ends the console.
#pragma once

#include "bench/interpreter.h"

namespace plug::bench {

/// Reads and runs lines until `quit` or the end of input, and shows news as they come. Without a terminal,
/// lines are read as they are.
void RunConsole(Interpreter& interpreter);

}  // namespace plug::bench
