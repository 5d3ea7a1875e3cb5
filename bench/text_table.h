// Decoded objects as text for people.
#pragma once

#include "bench/layout.h"

namespace plug::bench {

/// A value on one line: texts without quotes, lists with commas.
std::string Inline(const Json& value);
/// An object as lines of aligned names and values; lists of objects as tables below them. Every line is
/// indented.
std::string Lines(const Json& object);

/// A time of day, as "17:05:09".
std::string ClockText(std::chrono::system_clock::time_point time);

}  // namespace plug::bench
