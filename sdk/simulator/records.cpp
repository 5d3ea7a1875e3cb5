#include "records.h"

#include <arpa/inet.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "state_file.h"

namespace simulator {
namespace {

static_assert(std::endian::native == std::endian::little, "records hold little-endian integers");

constexpr std::uint64_t kExactInJson = 1ULL << 53;

bool ParseDigits(const char* text, std::uint64_t max, std::uint64_t* number) {
    std::uint64_t value = 0;
    if (*text == '\0') return false;
    for (; *text != '\0'; ++text) {
        if (*text < '0' || *text > '9') return false;
        const auto digit = static_cast<std::uint64_t>(*text - '0');
        if (value > (max - digit) / 10) return false;
        value = value * 10 + digit;
    }
    *number = value;
    return true;
}

bool ReadNumber(const cJSON* item, std::uint64_t max, std::uint64_t* number) {
    if (cJSON_IsBool(item)) {
        *number = cJSON_IsTrue(item) ? 1 : 0;
        return true;
    }
    if (cJSON_IsString(item)) return ParseDigits(item->valuestring, max, number);
    if (!cJSON_IsNumber(item) || !(item->valuedouble >= 0 && item->valuedouble < 0x1p64)) return false;
    const auto value = static_cast<std::uint64_t>(item->valuedouble);
    if (value > max) return false;
    *number = value;
    return true;
}

bool ReadMac(const char* text, std::uint8_t* out) {
    plug::MacAddress mac;
    if (!plug::ParseMac(text, mac)) return false;
    std::ranges::copy(mac, out);
    return true;
}

bool ParseAddress(const char* text, void* address) {
    in_addr parsed{};
    if (inet_pton(AF_INET, text, &parsed) != 1) return false;
    const std::uint32_t host_order = ntohl(parsed.s_addr);
    std::memcpy(address, &host_order, sizeof host_order);
    return true;
}

bool ParseDate(const char* text, std::uint8_t* date) {
    unsigned int century, year, month, day;
    int end = 0;
    if (std::sscanf(text, "%2u%2u-%2u-%2u%n", &century, &year, &month, &day, &end) != 4) return false;
    if (text[end] != '\0') return false;
    const unsigned int parts[] = {century, year, month, day};
    std::transform(std::begin(parts), std::end(parts), date,
                   [](unsigned int part) { return static_cast<std::uint8_t>(part); });
    return true;
}

bool ReadValue(const cJSON* item, Kind kind, std::size_t size, std::uint8_t* out) {
    if (kind == Kind::kReserved) return true;
    if (kind == Kind::kNumber || kind == Kind::kFlag) {
        std::uint64_t number = 0;
        if (!ReadNumber(item, ~0ULL >> (64 - 8 * size), &number)) return false;
        std::memcpy(out, &number, size);
        return true;
    }
    if (!cJSON_IsString(item)) return false;
    const char* text = item->valuestring;
    if (kind == Kind::kMac) return ReadMac(text, out);
    if (kind == Kind::kAddress) return ParseAddress(text, out);
    if (kind == Kind::kDate) return ParseDate(text, out);
    const std::size_t room = kind == Kind::kFullText ? size : size - 1;
    const std::size_t length = strnlen(text, room);
    std::memcpy(out, text, length);
    std::memset(out + length, 0, size - length);
    return true;
}

cJSON* NumberItem(std::uint64_t number) {
    if (number <= kExactInJson) return cJSON_CreateNumber(static_cast<double>(number));
    return cJSON_CreateString(std::to_string(number).c_str());
}

cJSON* ValueItem(Kind kind, std::size_t size, const std::uint8_t* value) {
    switch (kind) {
        case Kind::kNumber:
        case Kind::kFlag: {
            std::uint64_t number = 0;
            std::memcpy(&number, value, size);
            return kind == Kind::kFlag && number <= 1 ? cJSON_CreateBool(number == 1) : NumberItem(number);
        }
        case Kind::kText:
        case Kind::kFullText: {
            const char* text = reinterpret_cast<const char*>(value);
            return cJSON_CreateString(std::string(text, strnlen(text, size)).c_str());
        }
        case Kind::kMac:
            return cJSON_CreateString(plug::TextOf(MacOf(value)).data());
        case Kind::kAddress: {
            std::uint32_t address;
            std::memcpy(&address, value, sizeof address);
            return cJSON_CreateString(AddressText(address).c_str());
        }
        case Kind::kDate: {
            char text[16];
            std::snprintf(text, sizeof text, "%02u%02u-%02u-%02u", value[0], value[1], value[2], value[3]);
            return cJSON_CreateString(text);
        }
        case Kind::kReserved:
            break;
    }
    return nullptr;
}

}  // namespace

cJSON* Member(const cJSON* object, const char* key) {
    return cJSON_GetObjectItemCaseSensitive(object, key);
}

int LoadValue(const cJSON* item, const Field& field, void* out) {
    if (item == nullptr || cJSON_IsNull(item)) {
        std::memset(out, 0, field.size);
        return kOk;
    }
    if (ReadValue(item, field.kind, field.size, static_cast<std::uint8_t*>(out))) return kOk;
    Complain("\"%s\" has a value that does not fit", field.name);
    return kBadState;
}

int LoadFields(const cJSON* object, std::span<const Field> fields, void* out) {
    for (const Field& field : fields) {
        const int result =
            LoadValue(Member(object, field.name), field, static_cast<std::uint8_t*>(out) + field.offset);
        if (result != kOk) return result;
    }
    return kOk;
}

void StoreValue(cJSON* object, const Field& field, const void* value) {
    cJSON* item = ValueItem(field.kind, field.size, static_cast<const std::uint8_t*>(value));
    if (item == nullptr) return;
    if (Member(object, field.name) != nullptr) {
        cJSON_ReplaceItemInObjectCaseSensitive(object, field.name, item);
    } else {
        cJSON_AddItemToObject(object, field.name, item);
    }
}

void StoreFields(cJSON* object, std::span<const Field> fields, const void* record) {
    for (const Field& field : fields) {
        StoreValue(object, field, static_cast<const std::uint8_t*>(record) + field.offset);
    }
}

plug::MacAddress MacOf(const std::uint8_t* bytes) {
    plug::MacAddress mac;
    std::copy_n(bytes, mac.size(), mac.begin());
    return mac;
}

std::string AddressText(std::uint32_t address) {
    char text[INET_ADDRSTRLEN];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", address >> 24, address >> 16 & 255, address >> 8 & 255,
                  address & 255);
    return text;
}

}  // namespace simulator
