#include "bench/platform_side.h"

#include "bench/platform_commands.h"

namespace plug::bench {

PlatformSide::PlatformSide(Platform& platform, Interpreter& interpreter, bool verbose)
    : process_(platform, interpreter),
      agents_(platform, interpreter, process_, verbose),
      dialog_(platform, interpreter, agents_),
      devices_(dialog_),
      http_(interpreter) {
    AddFunctionCommands(dialog_);
    AddMischiefCommands(dialog_);
    AddDiagnosticCommands(dialog_);
    AddPlugCommands(dialog_, http_);
}

}  // namespace plug::bench
