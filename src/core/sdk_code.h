// The one convention of all SDK operations' results.
#pragma once

#include <cstdint>

namespace plug {

/// The result of an SDK operation is the low 16 bits of what it returned; 0 is success.
constexpr std::uint16_t SdkCode(int returned) {
    return static_cast<std::uint16_t>(returned);
}

}  // namespace plug
