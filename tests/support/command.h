// A function command of the platform, from command to answer.
#pragma once

#include "support/text.h"

namespace plug::test {

/// What the dispatcher returns, and the whole answer.
std::pair<int, ByteVector> Dispatch(ConstBytes command);
/// The answer behind its echo, result and payload; empty without one. Parameters begin at byte 10.
ByteVector RunCommand(int id, ConstBytes parameters = {});

/// Runs a command that an element which can never be applied holds, and takes the link away; its code.
int CodeOfHeld(const std::function<int()>& command);

}  // namespace plug::test
