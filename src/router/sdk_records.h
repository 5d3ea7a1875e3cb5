// Which fields of the SDK's records change on their way to or from the platform.
//
// Records travel as they lie in memory, but for their integer fields, which pass through the swap routines.
// Each record type with such fields has a list of them; swapping is its own inverse, so one list serves both
// directions.
#pragma once

#include "platform/wire.h"
#include "router_sdk.h"

namespace plug {

enum class FieldKind : std::uint8_t { kU16, kU32, kIp4 };

struct RecordField {
    std::uint16_t offset;
    FieldKind kind;
};

/// The integer fields of a record type; none unless specialised below.
template <class Record>
constexpr std::array<RecordField, 0> kRecordFields{};

template <>
inline constexpr std::array kRecordFields<cpu_cfg> = {RecordField{33, FieldKind::kU16}};

template <>
inline constexpr std::array kRecordFields<mem_cfg> = {RecordField{24, FieldKind::kU32}};

template <>
inline constexpr std::array kRecordFields<wan_cfg> = {
    RecordField{0, FieldKind::kU16},   RecordField{3, FieldKind::kU16},   RecordField{5, FieldKind::kU16},
    RecordField{205, FieldKind::kIp4}, RecordField{209, FieldKind::kIp4}, RecordField{213, FieldKind::kIp4},
    RecordField{217, FieldKind::kIp4}, RecordField{221, FieldKind::kIp4}, RecordField{225, FieldKind::kU16},
};

template <>
inline constexpr std::array kRecordFields<lan_cfg> = {RecordField{0, FieldKind::kIp4},
                                                      RecordField{4, FieldKind::kIp4}};

template <>
inline constexpr std::array kRecordFields<ssid_cfg> = {
    RecordField{0, FieldKind::kU16},   RecordField{4, FieldKind::kU16},   RecordField{14, FieldKind::kU16},
    RecordField{114, FieldKind::kU16}, RecordField{116, FieldKind::kU32},
};

template <>
inline constexpr std::array kRecordFields<dev_cfg> = {RecordField{28, FieldKind::kU16},
                                                      RecordField{30, FieldKind::kIp4}};

template <>
inline constexpr std::array kRecordFields<adj_wifi> = {RecordField{64, FieldKind::kU32}};

/// Swaps the given fields of the record in `bytes` in place.
void SwapFields(Bytes bytes, std::span<const RecordField> fields);

/// The record's bytes in the order in which they travel.
template <class Record>
void PutRecord(ByteWriter& out, const Record& record) {
    const Bytes bytes = out.Reserve(sizeof record);
    if (bytes.empty()) return;
    memcpy(bytes.data(), &record, sizeof record);
    SwapFields(bytes, kRecordFields<Record>);
}

/// The record that the next bytes of a command hold.
template <class Record>
Record TakeRecord(ByteReader& in) {
    std::array<std::uint8_t, sizeof(Record)> bytes = in.Array<sizeof(Record)>();
    SwapFields(bytes, kRecordFields<Record>);
    return std::bit_cast<Record>(bytes);
}

}  // namespace plug
