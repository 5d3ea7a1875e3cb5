// The kernel's ARP table as text: who else is on the LAN.
#pragma once

#include <optional>

#include "core/text.h"

namespace plug {

struct ArpEntry {
    std::uint32_t address = 0;  // host order
    MacAddress mac{};
};

/// The entry in one line of the table: its first token is the address, its fourth the MAC. None when either
/// is not.
std::optional<ArpEntry> ParseArpLine(std::string_view line);

/// The first three numbers of a dotted address, with their dots: "192.168.1." of "192.168.1.20". Empty when
/// there is no third dot within 13 characters.
std::string_view NetworkPrefix(std::string_view dotted);

}  // namespace plug
