// The commands as data: what a front needs to offer them as forms.
#pragma once

#include "bench/interpreter.h"

namespace plug::bench {

/// {"commands": [{"name", "usage", "help", "group", "at_least", "completions", "id", "parameters"}],
///  "requests": [..], "reports": [..]}
///
/// Function commands have an `id` and `parameters`, each {"name", "kind", "form", "most", "optional"}: `most`
/// is the largest number or the most characters. `requests` and `reports` are what the local peer answers and
/// sends: {"id", "name", "help", "parameters"}, of an answer those that it holds.
Json CommandList(const Interpreter& interpreter);

}  // namespace plug::bench
