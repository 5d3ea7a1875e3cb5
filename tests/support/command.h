// A function command of the platform, from command to answer.
#pragma once

#include "support/text.h"

namespace plug::test {

/// The answer behind its echo: result and payload. Parameters begin at byte 10.
ByteVector RunCommand(std::uint8_t id, ConstBytes parameters = {});

}  // namespace plug::test
