// The daemon of the access control: the thread that applies the windows every 30 seconds.
#pragma once

namespace plug {

/// Begins with an empty rule table and runs the passes until StopDaemon. 0 then, -3 when a thread cannot be
/// created, -7 when the passes' thread cannot be joined. The three settings change nothing.
int no_feeling_daemon(int mode, int value, int port);

/// Ends the running daemon, at once when it waits for its next pass.
void StopDaemon();

}  // namespace plug
