// Scripts: a console's commands from a file.
#pragma once

#include <istream>

#include "bench/interpreter.h"

namespace plug::bench {

/// Runs the lines and tells at the end how many expectations held. A failed
/// expectation is printed with file and line, and the script goes on; any other failed command ends it. True
/// when nothing failed. `path` names the file in messages.
bool RunScript(Interpreter& interpreter, const std::string& path, std::istream& lines);

}  // namespace plug::bench
