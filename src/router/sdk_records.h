// The SDK's records on their way to and from the platform.
//
// A record travels as it lies in memory, little-endian, but for its IPv4 addresses, which travel most
// significant byte first.
#pragma once

#include "platform/wire.h"
#include "router_records.h"

namespace plug {

static_assert(std::endian::native == std::endian::little, "records travel as they lie in memory");

/// The offsets of a record's address fields.
template <class Record>
consteval auto AddressOffsets() {
    constexpr auto is_address = [](const router_records::Field& field) {
        return field.kind == router_records::Kind::kAddress;
    };
    constexpr auto& fields = router_records::kFields<Record>;
    std::array<std::size_t, std::ranges::count_if(fields, is_address)> offsets{};
    std::size_t at = 0;
    for (const auto& field : fields) {
        if (is_address(field)) offsets[at++] = field.offset;
    }
    return offsets;
}
template <class Record>
inline constexpr auto kAddressOffsets = AddressOffsets<Record>();

/// Turns the addresses in the bytes of a record round, in place. It is its own inverse.
template <class Record>
void SwapAddresses(Bytes record) {
    for (const std::size_t offset : kAddressOffsets<Record>) {
        const Bytes address = record.subspan(offset, sizeof(std::uint32_t));
        std::ranges::reverse(address);
    }
}

/// The record's bytes as they travel.
template <class Record>
void PutRecord(ByteWriter& out, const Record& record) {
    const Bytes bytes = out.Reserve(sizeof record);
    if (bytes.empty()) return;
    memcpy(bytes.data(), &record, sizeof record);
    SwapAddresses<Record>(bytes);
}

/// The record that the next bytes of a command hold.
template <class Record>
Record TakeRecord(ByteReader& in) {
    std::array<std::uint8_t, sizeof(Record)> bytes = in.Array<sizeof(Record)>();
    SwapAddresses<Record>(bytes);
    return std::bit_cast<Record>(bytes);
}

}  // namespace plug
