// The handling of every frame that the platform sends. Response thread.
#pragma once

#include "platform/tcp_queue.h"

namespace plug {

/// The command families, given once at start-up.
struct CommandHandlers {
    /// Executes a function command: fills `answer` and `length` (0: send none). 0, or a code that is answered
    /// too.
    int (*function_command)(ConstBytes command, Bytes answer, std::size_t& length);
    /// Carries out a plug data command, JSON by its DataType. What it returns is the answer, where there is
    /// one.
    int (*plug_command)(std::uint32_t data_type, const char* payload);
};
void SetCommandHandlers(const CommandHandlers& handlers);

/// Checks, decrypts and carries out one frame, and answers it.
void CBHandle(const InboundFrame& frame);

}  // namespace plug
