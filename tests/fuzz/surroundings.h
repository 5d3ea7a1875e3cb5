// What every fuzzer runs in: namespaces of its own, a simulated router, a login without a link, every log
// level on, and no shell, network or waiting. A target looks at one input after another; the agent's state
// stays between them.
#pragma once

#include <cstdlib>
#include <vector>

#include "platform/wire.h"

namespace plug::test {

inline constexpr char kKey[] = "0123456789abcdef";

/// Ends the process, which counts as a find.
inline void Require(bool condition) {
    if (!condition) abort();
}

/// A copy of exactly its size, so that a read behind it is seen.
inline std::vector<std::uint8_t> Exact(ConstBytes bytes) {
    return {bytes.begin(), bytes.end()};
}
/// The same with a NUL.
inline std::vector<char> ExactText(ConstBytes bytes) {
    std::vector<char> text(bytes.size() + 1);
    std::copy(bytes.begin(), bytes.end(), text.begin());
    return text;
}

/// The target: looks at one input.
void Look(ByteReader input);

}  // namespace plug::test
