#include "bench/layout.h"

#include <arpa/inet.h>

#include <charconv>
#include <stdexcept>

template class nlohmann::basic_json<nlohmann::ordered_map>;

namespace plug::bench {
namespace {

std::string IpText(std::uint32_t address) {
    return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 0xFF) + "." +
           std::to_string(address >> 8 & 0xFF) + "." + std::to_string(address & 0xFF);
}

std::string DateText(ConstBytes date) {
    std::array<char, 24> text;
    snprintf(text.data(), text.size(), "%02u%02u-%02u-%02u", date[0], date[1], date[2], date[3]);
    return text.data();
}

/// A NUL-padded text.
std::string Text(ConstBytes field) {
    const std::string_view text = AsText(field);
    return std::string(text.substr(0, text.find('\0')));
}

Json ReadValue(ByteReader& reader, const Field& field) {
    switch (field.kind) {
        case FieldKind::kU8:
            return reader.U8();
        case FieldKind::kU16:
            return reader.U16();
        case FieldKind::kU32:
            return reader.U32();
        case FieldKind::kI32:
            return static_cast<std::int32_t>(reader.U32());
        case FieldKind::kU64:
            return reader.U64();
        case FieldKind::kSwitch: {
            const std::uint8_t value = reader.U8();
            return value == 0 ? Json("off") : value == 1 ? Json("on") : Json(value);
        }
        case FieldKind::kMac:
            return MacText(reader.Array<6>());
        case FieldKind::kIp:
            return IpText(reader.Ip4());
        case FieldKind::kHostIp:
            return IpText(reader.U32());
        case FieldKind::kDate:
            return DateText(reader.Array<4>());
        case FieldKind::kText:
            return Text(reader.Take(field.size));
        case FieldKind::kRaw:
            return ToHex(reader.Take(field.size));
        case FieldKind::kSkip:
            reader.Skip(field.size);
            return {};
        case FieldKind::kRest:
            return Readable(reader.Take(reader.rest().size()));
        case FieldKind::kShortText:
            return Text(reader.Take(reader.U8()));
        case FieldKind::kCountedText:
            return std::string(AsText(reader.Take(reader.U16())));
        case FieldKind::kCountedRaw:
            return Readable(reader.Take(reader.U16()));
    }
    return {};
}

/// All that the kind holds.
std::string KindForm(const Field& field) {
    switch (field.kind) {
        case FieldKind::kU8:
            return "0..255";
        case FieldKind::kU16:
            return "0..65535";
        case FieldKind::kU32:
            return "0..4294967295";
        case FieldKind::kI32:
        case FieldKind::kU64:
            return "a number";
        case FieldKind::kSwitch:
            return "on|off";
        case FieldKind::kMac:
            return "a MAC";
        case FieldKind::kIp:
        case FieldKind::kHostIp:
            return "an IPv4 address";
        case FieldKind::kDate:
            return "a date";
        case FieldKind::kText:
            return "at most " + std::to_string(field.size) + " characters";
        case FieldKind::kRaw:
            return std::to_string(field.size) + " bytes in hexadecimal";
        case FieldKind::kRest:
        case FieldKind::kShortText:
        case FieldKind::kCountedText:
            return "text";
        case FieldKind::kCountedRaw:
            return "hexadecimal";
        case FieldKind::kSkip:
            return "";
    }
    return "";
}

[[noreturn]] void Refuse(const Field& field, const std::string& text) {
    throw std::invalid_argument(std::string(field.name) + " takes " + KindForm(field) + ", not \"" + text +
                                "\"");
}

std::uint64_t Number(const Field& field, const std::string& text) {
    const bool hexadecimal = text.starts_with("0x");
    const char* const start = text.data() + (hexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    std::uint64_t value = 0;
    const auto [stop, error] = std::from_chars(start, end, value, hexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end) Refuse(field, text);
    const std::size_t size = FieldSize(field);
    if (size < sizeof value && value >> (size * 8) != 0) Refuse(field, text);
    return value;
}

void Append(ByteVector& record, std::uint64_t value, std::size_t size) {
    for (std::size_t byte = 0; byte < size; ++byte)
        record.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
}

void AppendBytes(ByteVector& record, ConstBytes bytes) {
    record.insert(record.end(), bytes.begin(), bytes.end());
}

}  // namespace

std::size_t FieldSize(const Field& field) {
    switch (field.kind) {
        case FieldKind::kU8:
        case FieldKind::kSwitch:
            return 1;
        case FieldKind::kU16:
            return 2;
        case FieldKind::kU32:
        case FieldKind::kI32:
        case FieldKind::kIp:
        case FieldKind::kHostIp:
        case FieldKind::kDate:
            return 4;
        case FieldKind::kMac:
            return 6;
        case FieldKind::kU64:
            return 8;
        case FieldKind::kText:
        case FieldKind::kRaw:
        case FieldKind::kSkip:
            return field.size;
        case FieldKind::kRest:
        case FieldKind::kShortText:
        case FieldKind::kCountedText:
        case FieldKind::kCountedRaw:
            return 0;
    }
    return 0;
}

std::string ValueForm(const Field& field) {
    if (field.most == 0) return KindForm(field);
    return std::to_string(field.least) + ".." + std::to_string(field.most);
}

std::string ValueMeaning(const Field& field) {
    return ValueForm(field) + (*field.note != '\0' ? std::string(", ") + field.note : "");
}

Json Readable(ConstBytes bytes) {
    const auto printable = [](std::uint8_t byte) {
        return byte >= ' ' || byte == '\n' || byte == '\t' || byte == '\r';
    };
    if (!std::all_of(bytes.begin(), bytes.end(), printable)) return ToHex(bytes);
    Json parsed = Json::parse(AsText(bytes), nullptr, false);
    return parsed.is_structured() ? parsed : Json(AsText(bytes));
}

Json ReadFields(ByteReader& reader, Fields fields) {
    Json object = Json::object();
    for (const Field& field : fields) {
        Json value = ReadValue(reader, field);
        if (field.kind != FieldKind::kSkip) object[field.name] = std::move(value);
    }
    return object;
}

void WriteField(ByteVector& record, const Field& field, const std::string& text) {
    switch (field.kind) {
        case FieldKind::kSwitch:
            if (text == "on" || text == "off") {
                record.push_back(text == "on");
                return;
            }
            [[fallthrough]];
        case FieldKind::kU8:
        case FieldKind::kU16:
        case FieldKind::kU32:
        case FieldKind::kU64:
            Append(record, Number(field, text), FieldSize(field));
            return;
        case FieldKind::kMac: {
            const auto mac = ParseMac(text);
            if (!mac) Refuse(field, text);
            AppendBytes(record, *mac);
            return;
        }
        case FieldKind::kIp:
        case FieldKind::kHostIp: {
            in_addr address{};
            if (inet_pton(AF_INET, text.c_str(), &address) != 1) Refuse(field, text);
            const bool host_order = field.kind == FieldKind::kHostIp;
            Append(record, host_order ? ntohl(address.s_addr) : address.s_addr, sizeof address);
            return;
        }
        case FieldKind::kText:
            if (text.size() > field.size) Refuse(field, text);
            AppendBytes(record, AsBytes(text));
            record.resize(record.size() + field.size - text.size());
            return;
        case FieldKind::kRaw: {
            ByteVector bytes = ParseHex(text);
            bytes.resize(field.size);
            AppendBytes(record, bytes);
            return;
        }
        case FieldKind::kSkip:
            record.resize(record.size() + field.size);
            return;
        case FieldKind::kRest:
            AppendBytes(record, AsBytes(text));
            return;
        case FieldKind::kCountedText:
            Append(record, text.size(), 2);
            AppendBytes(record, AsBytes(text));
            return;
        case FieldKind::kI32:
        case FieldKind::kDate:
        case FieldKind::kShortText:
        case FieldKind::kCountedRaw:
            break;
    }
    Refuse(field, text);
}

}  // namespace plug::bench
