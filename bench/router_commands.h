// The console's commands for the router's side: the devices of the simulated home.
#pragma once

#include "bench/interpreter.h"

namespace plug::bench {

/// Registers `device` with the interpreter. It works on the state file of the environment.
void AddRouterCommands(Interpreter& interpreter);

}  // namespace plug::bench
