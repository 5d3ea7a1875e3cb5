// Function 39: the agent itself looks for new devices, once a minute, and reports each once.
//
// The devices it has reported are kept in /tmp/macconfig across restarts, one MAC a line. Every forget period
// the list becomes what the router then has. It ends for good once a local peer has connected: from then on
// function 40 reports.
#pragma once

namespace plug {

/// Loads the known devices and starts the thread; without a thread when a local peer has been seen. 0 or
/// -1.
int Fn39Init();
/// Stops and joins the thread.
void Fn39Stop();

/// Replaces the known devices by those in the file. 0, or -1 without a file (then none is known).
int Fn39LoadMac();
/// Writes the known devices to the file. 0, -1 when it cannot be written, -2 when not logged in.
int Fn39UpdateMac();

/// One ten-second round. 0, or -1 when the SDK failed: the round counts as not made. The thread's own.
int Fn39Round();

}  // namespace plug
