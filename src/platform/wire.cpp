#include "platform/wire.h"

namespace plug {
namespace {

constinit bool swap_flag = false;  // written once, before any thread starts

}  // namespace

void SetSwapFlag(bool swap) {
    swap_flag = swap;
}

std::uint16_t Swap16(std::uint16_t value) {
    return swap_flag ? __builtin_bswap16(value) : value;
}
std::uint32_t Swap32(std::uint32_t value) {
    return swap_flag ? __builtin_bswap32(value) : value;
}
std::uint64_t Swap64(std::uint64_t value) {
    return swap_flag ? __builtin_bswap64(value) : value;
}

}  // namespace plug
