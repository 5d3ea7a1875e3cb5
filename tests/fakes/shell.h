// A shell for core/shell.h that runs nothing. It ends the process when a value could escape into the command.
#pragma once

#include "core/shell.h"
#include "platform/wire.h"

namespace plug::test {

/// What the commands started from now on print; the bytes stay the caller's.
void SetShellOutput(ConstBytes output);

}  // namespace plug::test
