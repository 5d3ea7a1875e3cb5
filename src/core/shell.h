// The shell: programs of the router that the agent runs. A test may link its own implementation instead. Any
// thread.
#pragma once

#include <cstdio>

namespace plug {

/// Runs a command and waits for its end. What the C library's system returns.
int RunShell(const char* command);

/// Starts a command and yields its output to read, or null. CloseShell waits for its end; -1 when that fails.
FILE* OpenShell(const char* command);
int CloseShell(FILE* output);

/// Kills all that the commands under way have started, and from now on each command at its start: for the end
/// of the agent.
void EndShellCommands();

}  // namespace plug
