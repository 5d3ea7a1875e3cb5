// The local command server: one Unix socket on which one peer at a time, the router's mesh/Wi-Fi process, is
// asked and reports.
//
// Four threads: the listener (CommServerProc), the connection of the one peer (ServerThread), its release
// (CommReleaseProc) and the dispatcher of what was received (CommRecvHandle). All of them sleep while nothing
// happens. What one read of the socket yields is one frame.
#pragma once

namespace plug {

/// Starts the server. 0, or -1 when its queue or a thread cannot be had. A path that cannot be bound only
/// leaves the agent without local peers. Main thread, once.
int CommServerStart();
/// Stops and joins every thread. 0, or -1 when a join failed.
int CommServerStop();

/// True once the first peer has been connected; for the rest of the process's life.
bool LocalPeerSeen();

}  // namespace plug
