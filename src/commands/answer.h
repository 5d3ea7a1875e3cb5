// The answer of one function command, as its handler fills it.
#pragma once

#include "core/sdk_code.h"
#include "platform/wire.h"

namespace plug {

constexpr std::uint16_t kDone = 0;
constexpr std::uint16_t kLocalFailure = 1;  // busy, or refused by the agent itself
constexpr std::uint16_t kUnsupportedCommand = 7;

/// A 16-bit result and a payload. The answer is cut to its result by Fail, and none is sent after Silence.
class Answer {
  public:
    explicit Answer(Bytes payload_room) : payload(payload_room), room_(payload_room) {}

    /// No payload, only `code`.
    void Fail(std::uint16_t code) {
        result = code;
        payload = ByteWriter(room_);
    }
    void Silence() { silent_ = true; }
    bool silent() const { return silent_; }

    std::uint16_t result = kDone;
    ByteWriter payload;

  private:
    Bytes room_;
    bool silent_ = false;
};

/// The text that the rest of the parameters holds, as it came; the dispatcher sees to its end.
inline const char* TextParameter(const ByteReader& parameters) {
    return AsText(parameters.rest()).data();
}

/// Reads its parameters, of which a short command lacks none (they read as zeros), and fills the answer.
using CommandHandler = void (*)(ByteReader& parameters, Answer& answer);

}  // namespace plug
