#include "tree.h"

#include <algorithm>
#include <cstring>
#include <ctime>

namespace simulator {
namespace {

cJSON* FindIndex(const cJSON* list, std::uint16_t index) {
    cJSON* item = nullptr;
    cJSON_ArrayForEach(item, list) {
        const cJSON* found = Member(item, "index");
        if (cJSON_IsNumber(found) && found->valueint == index) return item;
    }
    return nullptr;
}

}  // namespace

cJSON* FindWan(const cJSON* home, std::uint16_t index) {
    return FindIndex(Member(home, "wans"), index);
}

cJSON* FindPort(const cJSON* home, std::uint16_t port) {
    return cJSON_GetArrayItem(Member(home, "lan_ports"), port - 1);
}

cJSON* FindSsid(const cJSON* home, std::uint16_t index) {
    const cJSON* radio = nullptr;
    cJSON_ArrayForEach(radio, Member(home, "radios")) {
        if (cJSON* ssid = FindIndex(Member(radio, "ssids"), index); ssid != nullptr) return ssid;
    }
    return nullptr;
}

cJSON* FindDevice(const cJSON* home, const std::uint8_t* mac) {
    cJSON* device = nullptr;
    cJSON_ArrayForEach(device, Member(home, "devices")) {
        const char* text = cJSON_GetStringValue(Member(device, "mac"));
        plug::MacAddress known;
        if (text != nullptr && plug::ParseMac(text, known) && known == MacOf(mac)) return device;
    }
    return nullptr;
}

cJSON* Section(cJSON* home, const char* name) {
    cJSON* section = Member(home, name);
    return section != nullptr ? section : cJSON_AddObjectToObject(home, name);
}

int LoadFrom(const cJSON* owner, const Field& field, void* out) {
    return owner != nullptr ? LoadValue(Member(owner, field.name), field, out) : int{kUnknown};
}

int StoreInto(cJSON* owner, const Field& field, const void* value) {
    if (owner == nullptr) return kUnknown;
    if (!cJSON_IsObject(owner)) return kBadState;
    StoreValue(owner, field, value);
    return kOk;
}

int StoreText(cJSON* owner, const char* key, const char* text, std::size_t size) {
    const std::size_t length = strnlen(text, size);
    if (length == size) return kBadArgument;
    return StoreInto(owner, {key, 0, length, Kind::kText}, text);
}

int LoadUpTime(const cJSON* home, std::uint64_t* seconds) {
    std::uint64_t started = 0;
    const int result = LoadNumber(Member(home, "router"), "started", &started);
    if (result == kBadState) return result;
    const auto now = static_cast<std::uint64_t>(std::time(nullptr));
    *seconds = started != 0 && started < now ? now - started : 0;
    return kOk;
}

int LoadCounter(const cJSON* home, const cJSON* owner, const char* key, std::uint64_t* value) {
    if (owner == nullptr) return kUnknown;
    const cJSON* counter = Member(owner, key);
    if (counter == nullptr) {
        *value = 0;
        return kOk;
    }
    std::uint64_t bytes = 0, rate = 0, up_time = 0;
    int result = LoadNumber(counter, "bytes", &bytes);
    if (result == kOk) result = LoadNumber(counter, "rate", &rate);
    if (result == kOk) result = LoadUpTime(home, &up_time);
    if (result == kOk) *value = bytes + rate * up_time;
    return result;
}

}  // namespace simulator
