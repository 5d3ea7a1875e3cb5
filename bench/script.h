// Scripts: a console's commands from a file.
#pragma once

#include "bench/interpreter.h"

namespace plug::bench {

/// Runs the file's lines ("-" reads standard input) and tells at the end how many expectations held. A failed
/// expectation is printed with file and line, and the script goes on; any other failed command ends it. True
/// when nothing failed. Throws CommandError when the file cannot be read.
bool RunScript(Interpreter& interpreter, const std::string& path);

}  // namespace plug::bench
