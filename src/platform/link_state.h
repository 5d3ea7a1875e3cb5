// The flags of the platform session, shared by every thread that uses the link.
//
// The response thread raises them as answers come, the receive and check threads raise the link error, the
// main thread clears them between attempts. Waiting for a flag is woken at once when it is raised.
#pragma once

#include <cstdint>

#include "core/sync.h"

namespace plug {

/// True after a good login ack until the link is lost; every upward send is refused without it.
bool LoggedIn();
void SetLoggedIn(bool logged_in);

/// True after a good register ack.
bool Registered();
void SetRegistered(bool registered);

/// The link is considered lost: every loop of the link ends on it.
bool LinkError();
void RaiseLinkError();
void ClearLinkError();
/// Waits for the link error, at most `milliseconds`; true when it is raised.
bool WaitLinkError(std::int64_t milliseconds);
/// Set together with the link error, for waits on a socket.
const PollableEvent& LinkErrorEvent();
/// Raises the link error for good: from now on nothing clears it. For the end of the agent.
void EndLinks();

/// Marks the start of a registration or login, before its connection is made.
void BeginAttempt();
/// Waits until the attempt is decided (registered, logged in or link error), at most `milliseconds`.
void WaitAttempt(std::int64_t milliseconds);

/// A heartbeat ack or command has come since the last heartbeat.
bool AckSeen();
void SetAckSeen(bool seen);

/// Notes a heartbeat ack now, on the monotonic clock; it also counts as seen.
void NoteHeartbeatAck();
/// Notes that bytes have come behind a frame that is still being handled. They may be acks, which nobody
/// reads before that frame is done, so they count as one if there ever was one.
void NoteBytesBehind();
/// Keeps the caller until the login is lost. What comes meanwhile is nobody's to read and counts as no ack,
/// so that the link is given up after its silent intervals, which begin now when there was no ack yet.
/// Response thread.
void HoldUntilLost();
/// True when there was a heartbeat ack and it is more than `seconds` old.
bool HeartbeatAckOlderThan(std::int64_t seconds);
void ForgetHeartbeatAck();

}  // namespace plug
