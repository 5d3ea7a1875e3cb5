// The function commands of the platform: one gate, one table, an answer for each.
//
//   command  0  u16  head, echoed       answer  0  the command's bytes 0 to 3
//            2  u16  function ID                4  u16  result
//            4  6 bytes, not read               6  payload of the command
//           10  parameters
#pragma once

#include "platform/wire.h"

namespace plug {

/// Executes one command and fills `answer` (room 8100); `length` 0 means that none is to be sent. 0, also
/// when the SDK failed (its code is in the answer), or -1 for an unsupported function ID. Response thread.
int ParserProtoolData(ConstBytes command, Bytes answer, std::size_t& length);

}  // namespace plug
