// The SDK's records and single values as JSON, in both directions.
//
// A record is described by its fields, of which each is a JSON value under its name:
//
//   number    a number, or decimal digits as text where a JSON number loses precision (from 2^53 on)
//   flag      true or false; any other byte as a number
//   text      a text; one longer than its field is cut
//   mac       "AA:BB:CC:DD:EE:FF"
//   address   "192.168.1.20"
//   date      "2022-12-27"
//   reserved  not in the file
//
// A key that is missing or null reads as zeros; any other value that does not fit is an error.
#pragma once

#include <cjson/cJSON.h>
#include <router_records.h>

#include <span>
#include <string>

#include "core/mac.h"

namespace simulator {

using router_records::Field;
using router_records::kFields;
using router_records::Kind;

// The member of an object, or nullptr; safe on anything, nullptr included.
cJSON* Member(const cJSON* object, const char* key);

// Reads one value of `size` bytes. 0, or kBadState after one complaint; `out` is untouched then.
int LoadValue(const cJSON* item, const Field& field, void* out);

// Fills the bytes of a record from an object. 0, or kBadState; `out` may be half filled then.
int LoadFields(const cJSON* object, std::span<const Field> fields, void* out);

// Puts one value, or all fields of a record, into an object: what is there under the key is replaced.
void StoreValue(cJSON* object, const Field& field, const void* value);
void StoreFields(cJSON* object, std::span<const Field> fields, const void* record);

template <class Record>
int LoadRecord(const cJSON* object, Record* record) {
    Record loaded{};
    const int result = LoadFields(object, kFields<Record>, &loaded);
    if (result == 0) *record = loaded;
    return result;
}

// The MAC that the SDK gives as six bytes.
plug::MacAddress MacOf(const std::uint8_t* bytes);

// "192.168.1.20".
std::string AddressText(std::uint32_t address);

}  // namespace simulator
