// Descriptions of binary records as rows of fields, read into JSON objects and written from texts.
//
// Fields follow one another without gaps (Skip is a gap), so a description needs no offsets. JSON forms:
// numbers as numbers; a switch as "on" or "off"; MACs, IPv4 addresses, dates and texts as strings; raw bytes
// as hexadecimal.
#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>

#include "bench/frames.h"

extern template class nlohmann::basic_json<nlohmann::ordered_map>;  // made in layout.cpp, once

namespace plug::bench {

using Json = nlohmann::ordered_json;

enum class FieldKind : std::uint8_t {
    kU8,
    kU16,
    kU32,
    kI32,
    kU64,
    kSwitch,
    kMac,
    kIp,
    kHostIp,       // an address in the host's byte order, as records have it on the local socket
    kDate,         // four bytes: 20, 22, 12, 27
    kText,         // NUL-padded
    kRaw,          // bytes of no known meaning
    kSkip,         // zeros
    kRest,         // text up to the end of the record, read as Readable shows it
    kShortText,    // u8 length, then text
    kCountedText,  // u16 length, then text
    kCountedRaw,   // u16 length, then bytes, read as Readable shows them
};

struct Field {
    const char* name;
    FieldKind kind;
    std::uint16_t size = 0;  // of kText, kRaw and kSkip
    // For people and forms; nothing keeps other values from being sent.
    const char* note = "";    // the unit, or what the values mean
    std::uint64_t least = 0;  // of what makes sense
    std::uint64_t most = 0;   // 0: all that the kind holds
};
using Fields = std::span<const Field>;

/// Bytes of any kind: a JSON object or list as such, printable text as text, everything else in hexadecimal.
Json Readable(ConstBytes bytes);

/// Reads the fields in order. What the record lacks reads as zero, and the reader is no longer ok.
Json ReadFields(ByteReader& reader, Fields fields);
/// Writes one field from its text form; throws std::invalid_argument naming it when the text does not fit the
/// kind.
void WriteField(ByteVector& record, const Field& field, const std::string& text);
/// The field's size in a record; 0 when it depends on the value.
std::size_t FieldSize(const Field& field);
/// How a value of the field is written, as "on|off" or "0..255", for usage lines.
std::string ValueForm(const Field& field);
/// The same with the field's note: "0..65535, MHz".
std::string ValueMeaning(const Field& field);

}  // namespace plug::bench
