// Decoded objects as text for people.
#pragma once

#include "bench/layout.h"

namespace plug::bench {

/// A value on one line: texts without quotes, lists with commas.
std::string Inline(const Json& value);
/// An object as lines of aligned names and values; lists of objects as tables below them. Every line is
/// indented.
std::string Lines(const Json& object);

}  // namespace plug::bench
