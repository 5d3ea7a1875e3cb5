// A Wireshark dissector of both links, in Lua: dissector.lua behind the tables of commands and messages.
#pragma once

#include <string>
#include <vector>

namespace plug::bench {

/// `key` and `ports` are what its preferences begin with.
std::string Dissector(const std::string& key, const std::vector<std::uint16_t>& ports);

}  // namespace plug::bench
