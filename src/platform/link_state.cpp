#include "platform/link_state.h"

#include <atomic>

#include "core/clock.h"

namespace plug {
namespace {

constexpr std::int64_t kNever = -1;
constexpr std::int64_t kHoldMilliseconds = 100;  // between two looks whether the login stands

struct LinkState {
    std::atomic<bool> registered{false};
    std::atomic<bool> logged_in{false};
    std::atomic<bool> ack_seen{false};
    std::atomic<std::int64_t> last_ack{kNever};  // monotonic seconds
    std::atomic<bool> held{false};               // the response thread reads no more
    std::atomic<bool> ended{false};
    Event error;
    PollableEvent pollable_error;
    Event decided;  // one of the three ways an attempt ends has happened
};
constinit LinkState state;

void Raise(std::atomic<bool>& flag, bool value) {
    flag = value;
    if (value) state.decided.Set();
}

}  // namespace

bool LoggedIn() {
    return state.logged_in;
}
void SetLoggedIn(bool logged_in) {
    Raise(state.logged_in, logged_in);
}

bool Registered() {
    return state.registered;
}
void SetRegistered(bool registered) {
    Raise(state.registered, registered);
}

bool LinkError() {
    return state.error.IsSet();
}
void RaiseLinkError() {
    state.error.Set();
    state.pollable_error.Set();
    state.decided.Set();
}
void ClearLinkError() {
    state.error.Clear();
    state.pollable_error.Prepare();
    if (state.ended) RaiseLinkError();
}
bool WaitLinkError(std::int64_t milliseconds) {
    return state.error.WaitFor(milliseconds);
}

const PollableEvent& LinkErrorEvent() {
    return state.pollable_error;
}
void EndLinks() {
    state.ended = true;
    RaiseLinkError();
}

void BeginAttempt() {
    state.decided.Clear();
    if (LinkError()) state.decided.Set();
}
void WaitAttempt(std::int64_t milliseconds) {
    state.decided.WaitFor(milliseconds);
}

bool AckSeen() {
    return state.ack_seen;
}
void SetAckSeen(bool seen) {
    state.ack_seen = seen;
}

void NoteHeartbeatAck() {
    state.last_ack = MonotonicSeconds();
    state.ack_seen = true;
}

void NoteBytesBehind() {
    if (state.last_ack != kNever && !state.held) NoteHeartbeatAck();
}

void HoldUntilLost() {
    if (!LoggedIn()) return;
    state.held = true;
    if (state.last_ack == kNever) state.last_ack = MonotonicSeconds();
    while (LoggedIn() && !WaitLinkError(kHoldMilliseconds)) {
    }
    state.held = false;
}

bool HeartbeatAckOlderThan(std::int64_t seconds) {
    const std::int64_t last = state.last_ack;
    return last != kNever && MonotonicSeconds() - last > seconds;
}

void ForgetHeartbeatAck() {
    state.last_ack = kNever;
}

}  // namespace plug
