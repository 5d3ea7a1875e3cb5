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
    if (kind == Kind::kMac) return ParseMac(text, out);
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
            return cJSON_CreateString(MacText(value).c_str());
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
    Complain("\"%s\" has a value that does not fit", field.key);
    return kBadState;
}

int LoadFields(const cJSON* object, std::span<const Field> fields, void* out) {
    for (const Field& field : fields) {
        const int result =
            LoadValue(Member(object, field.key), field, static_cast<std::uint8_t*>(out) + field.offset);
        if (result != kOk) return result;
    }
    return kOk;
}

void StoreValue(cJSON* object, const Field& field, const void* value) {
    cJSON* item = ValueItem(field.kind, field.size, static_cast<const std::uint8_t*>(value));
    if (item == nullptr) return;
    if (Member(object, field.key) != nullptr) {
        cJSON_ReplaceItemInObjectCaseSensitive(object, field.key, item);
    } else {
        cJSON_AddItemToObject(object, field.key, item);
    }
}

void StoreFields(cJSON* object, std::span<const Field> fields, const void* record) {
    for (const Field& field : fields) {
        StoreValue(object, field, static_cast<const std::uint8_t*>(record) + field.offset);
    }
}

std::string MacText(const std::uint8_t* mac) {
    char text[18];
    std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3], mac[4],
                  mac[5]);
    return text;
}

bool ParseMac(const char* text, std::uint8_t* mac) {
    if (std::strlen(text) != 17) return false;
    for (std::size_t i = 0; i < 17; ++i) {
        const bool colon = i % 3 == 2;
        if (colon ? text[i] != ':' : std::strchr("0123456789ABCDEFabcdef", text[i]) == nullptr) return false;
    }
    for (std::size_t i = 0; i < 6; ++i) {
        mac[i] = static_cast<std::uint8_t>(std::strtoul(text + 3 * i, nullptr, 16));
    }
    return true;
}

std::string AddressText(std::uint32_t address) {
    char text[INET_ADDRSTRLEN];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", address >> 24, address >> 16 & 255, address >> 8 & 255,
                  address & 255);
    return text;
}

}  // namespace simulator
