// The plug data commands of the platform: JSON payloads by DataType.
#pragma once

#include <cstdint>

namespace plug {

/// Carries out one command; `payload` is NUL-terminated JSON. The result is what the platform is answered; a
/// DataType that is not known gives 0. Response thread.
int ParserPlugData(std::uint32_t data_type, const char* payload);

}  // namespace plug
