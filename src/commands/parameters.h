// Parameters that need a check before the SDK sees them.
#pragma once

#include "commands/answer.h"

namespace plug {

/// The NUL-terminated text that the parameters hold, into a field of the SDK. False, logged, when it does not
/// fit.
bool TakeName(ByteReader& parameters, std::span<char> field);

}  // namespace plug
