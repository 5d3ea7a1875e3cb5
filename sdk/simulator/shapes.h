// Calls that share a shape: each SDK function is one of these with its names filled in, or a body of its own.
#pragma once

#include <algorithm>
#include <array>

#include "call.h"
#include "tree.h"

namespace simulator {

// One value of a section; zeros when the section is missing.
inline int GetValue(const char* function, const char* section, const Field& field, void* out) {
    return Get(function, {}, [&](const cJSON* home) {
        return LoadValue(Member(Member(home, section), field.name), field, out);
    });
}

template <std::unsigned_integral T>
int GetNumber(const char* function, const char* section, const char* key, T* out) {
    return GetValue(function, section, {key, 0, sizeof(T), Kind::kNumber}, out);
}

inline int GetFlag(const char* function, const char* section, const char* key, std::uint8_t* on) {
    return GetValue(function, section, {key, 0, 1, Kind::kFlag}, on);
}

inline int SetFlag(const char* function, const char* section, const char* key, std::uint8_t on) {
    return Set(function, {on}, [&](cJSON* home) { return StoreFlag(Section(home, section), key, on); });
}

// `size` is that of the field, NUL included.
inline int GetText(const char* function, const char* section, const char* key, char* text, std::size_t size) {
    return GetValue(function, section, {key, 0, size, Kind::kText}, text);
}

inline int SetText(const char* function, const char* section, const char* key, const char* text,
                   std::size_t size) {
    return Set(function, {text},
               [&](cJSON* home) { return StoreText(Section(home, section), key, text, size); });
}

template <class Record>
int GetRecord(const char* function, const char* section, Record* record) {
    return Get(function, {}, [&](const cJSON* home) { return LoadRecord(Member(home, section), record); });
}

// The value function that counts a section's entries.
inline std::uint16_t CountValue(const char* function, const char* section) {
    return Value(function, {}, [&](const cJSON* home) {
        return ReportedCount(home, function, cJSON_GetArraySize(Member(home, section)));
    });
}

// A list call: as many entries as there is room for, and the true count. Entries with "online": false are not
// listed. `load` is int(const cJSON* item, Entry* entry).
template <int kRoom, class Entry, class Load>
int GetList(const char* function, const char* section, Entry* entries, int* count, Load load) {
    return Get(function, {}, [&](const cJSON* home) -> int {
        std::array<Entry, kRoom> loaded{};
        int listed = 0;
        const cJSON* item = nullptr;
        cJSON_ArrayForEach(item, Member(home, section)) {
            if (cJSON_IsFalse(Member(item, "online"))) continue;
            if (listed < kRoom) {
                const int result = load(item, &loaded[static_cast<std::size_t>(listed)]);
                if (result != kOk) return result;
            }
            ++listed;
        }
        std::copy_n(loaded.begin(), std::min(listed, kRoom), entries);
        *count = ReportedCount(home, function, listed);
        return kOk;
    });
}

}  // namespace simulator
