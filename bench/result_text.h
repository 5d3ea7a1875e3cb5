// What the result of an answer means, in words.
#pragma once

#include <cstdint>
#include <string>

namespace plug::bench {

/// "result 103 (no such device, WAN, port, SSID or module)"; the number alone when nobody has said what it
/// means.
std::string ResultText(std::uint16_t function_id, std::uint16_t result);

}  // namespace plug::bench
