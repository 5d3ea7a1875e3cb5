// The errors of commands, and the checks of what commands learned.
#pragma once

#include <limits>
#include <stdexcept>

#include "bench/layout.h"

namespace plug::bench {

struct CommandError : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/// An expectation that does not hold; the rest of a script still means something.
struct ExpectationFailed : CommandError {
    using CommandError::CommandError;
};

/// The field of an answer that an expectation would look at. Throws CommandError when it is not there.
std::string TextOfField(const Json& answer, const std::string& field);

/// Whether `field` of an answer, as "fields.entries.0.name" or, short, "entries.0.name", stands in the
/// relation to `value`: ==, !=, <, >, contains, exists. Numbers are compared as numbers. Throws
/// ExpectationFailed saying what was seen.
void CheckExpectation(const Json& answer, const std::string& field, const std::string& relation,
                      const std::string& value);

/// A time in seconds, as "0.5"; throws CommandError.
Milliseconds ParseSeconds(const std::string& text);
/// A decimal number; throws CommandError.
std::uint64_t ParseNumber(const std::string& text, std::uint64_t largest);
/// One that fits the type.
template <class Number>
Number ParseNumber(const std::string& text) {
    return static_cast<Number>(ParseNumber(text, std::numeric_limits<Number>::max()));
}
/// A MAC as ParseMac reads it; throws CommandError.
MacAddress MacOf(const std::string& text);

/// Throws the CommandError of a wait after which `what` had not come.
[[noreturn]] void ComplainOfWait(Milliseconds waited, const std::string& what);

}  // namespace plug::bench
