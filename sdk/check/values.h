// The SDK's values in words, and what looks wrong about them.
#pragma once

#include <string>
#include <vector>

#include "functions.h"

namespace sdk_check {

using Texts = std::vector<std::string>;

/// What earlier calls told of the home.
struct Home {
    std::uint32_t lan_address = 0;
    std::uint32_t lan_netmask = 0;  // 0: not known
};

/// "192.168.1.20".
std::string AddressText(std::uint32_t address);
/// "AA:BB:CC:DD:EE:FF".
std::string MacText(const std::uint8_t* mac);

/// `name=value` for each field but reserved ones. Passwords show their length only.
Texts Words(std::span<const Field> fields, Bytes record);

/// Whether two records have the same value in a field; what follows a text's NUL does not count.
bool SameValue(const Field& field, Bytes one, Bytes other);

/// "1 byte", "2 bytes".
std::string Times(std::size_t count, const char* what);

/// What looks wrong in one value or record by itself; `filled` names the text that must not be empty.
Texts Doubts(std::span<const Field> fields, Bytes record, const char* filled, const Home& home);

/// What looks wrong between the records of a list: an index, MAC or address that two of them have.
Texts Doubles(std::span<const Field> fields, const std::vector<Bytes>& records);

}  // namespace sdk_check
