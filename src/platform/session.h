// Registration, login and heartbeat: how the link to the platform comes up and stays up.
//
// The agent registers at one server, is told the login server and a token, closes that connection and logs in
// at the other. The main thread calls everything here but HandleAck.
#pragma once

#include "platform/tcp_server.h"

namespace plug {

/// Readies the link state for a first try at a server.
void ResetLinkState(LinkThreads& threads);

/// Registers at a server (dotted IPv4) and closes the connection again. 0, or -1 when there is no connection
/// or no ack within ten seconds. A missing serial number, PIN or KEY ends the process: no retry can mend it.
int RegisterStart(LinkThreads& threads, const char* server_ip);
/// Sends the register frame. 0 or -1.
int RegistSendMsg();

/// Connects to the login server that the registration named and logs in, waiting ten seconds. 0 or -1.
int LoginStart(LinkThreads& threads);
/// The same after a lost link, waiting five seconds; the caller clears link error and logged in before.
int ReLogin(LinkThreads& threads);
/// Sends the login frame. 0, or -1 when it fails or the agent is already logged in.
int LoginServer();

/// Starts the check thread, requests the rules and starts the heartbeat thread. 0 or -1.
int HeartbeatStart(LinkThreads& threads);
/// Raises the link error and joins both threads.
void DeleteHeartbear(LinkThreads& threads);
/// Asks the platform for this router's rules. What the send returned.
int RulesRequest();

/// Takes a register or login ack, by the state of the session. `plain` is the decrypted body with its
/// padding, empty when the frame has none. Response thread.
void HandleAck(const InboundFrame& frame, ConstBytes plain);

}  // namespace plug
