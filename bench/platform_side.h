// The platform's side of console and scripts: what comes from the agents, and all commands to them.
#pragma once

#include "bench/device_commands.h"
#include "bench/http_commands.h"
#include "bench/platform_commands.h"
#include "bench/process_commands.h"

namespace plug::bench {

class PlatformSide {
  public:
    /// Registers its commands with the interpreter. With `verbose`, connections are shown too.
    PlatformSide(Platform& platform, Interpreter& interpreter, bool verbose)
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

    Process* agent() const { return process_.agent(); }
    const Json& windows() const { return devices_.windows(); }
    const HttpProgress& download() const { return http_.progress(); }

  private:
    ProcessCommands process_;
    Agents agents_;
    Dialog dialog_;
    DeviceCommands devices_;
    HttpCommands http_;
};

}  // namespace plug::bench
