// The one reply buffer of the synchronous local requests, and the wait for it.
//
// The dispatcher stores replies and raises the ready flag after every frame it knows, a report too; the
// requester clears the flag before it sends and copies the reply out after its wait.
#pragma once

#include "platform/wire.h"

namespace plug {

struct LocalReply {
    std::uint8_t result = 0;                // 0: success, else the peer's code, or 1 set here
    std::uint16_t length = 0;               // of the received payload, result byte included
    std::array<std::uint8_t, 4093> data{};  // the payload behind its result byte, and a NUL

    /// The length - 1 bytes behind the result byte.
    ConstBytes payload() const { return ConstBytes(data).first(length > 0 ? length - 1U : 0U); }
};

/// Empties the buffer and clears the flag. Before any thread starts.
void ResetReply();

/// Stores a reply. A result other than 0 is stored alone: length and data stay those of the reply before.
/// Dispatcher.
void CommFuncRecv(ConstBytes payload);
/// A frame was handled. Dispatcher.
void SetReplyReady();

void ClearReplyReady();
/// Ends the wait under way, and every later one at once, without a reply. For the end of the agent.
void EndReplyWaits();
constexpr int kPollMilliseconds = 50;
/// Waits for the ready flag, at most `polls` times 50 ms; true when it is set.
bool Route_Wait(int polls);
void CopyReply(LocalReply& out);

}  // namespace plug
