// The interactive console: a prompt with history and completion, and news printed above it as they come.
#pragma once

#include "bench/interpreter.h"

namespace plug::bench {

/// Reads and runs lines until `quit` or the end of input. `news` is readable when the side has something to
/// show, which `show_news` then prints. Without a terminal, lines are read as they are.
void RunConsole(Interpreter& interpreter, int news, const std::function<void()>& show_news);

}  // namespace plug::bench
