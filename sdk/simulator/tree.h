// Finding things in the state tree, and reading and writing one value of them.
//
// Finders return nullptr for what is not there; loading from nullptr gives kUnknown, so the two chain. Loads
// leave the output alone when they fail.
#pragma once

#include <concepts>

#include "records.h"
#include "state_file.h"

namespace simulator {

cJSON* FindWan(const cJSON* home, std::uint16_t index);
cJSON* FindPort(const cJSON* home, std::uint16_t port);
cJSON* FindSsid(const cJSON* home, std::uint16_t index);
cJSON* FindDevice(const cJSON* home, const std::uint8_t* mac);

// A section to write into, made when missing.
cJSON* Section(cJSON* home, const char* name);

// One field of a found owner, of any kind and size.
int LoadFrom(const cJSON* owner, const Field& field, void* out);
int StoreInto(cJSON* owner, const Field& field, const void* value);

template <class Record>
int LoadRecordFrom(const cJSON* owner, Record* record) {
    return owner != nullptr ? LoadRecord(owner, record) : int{kUnknown};
}

template <std::unsigned_integral T>
int LoadNumber(const cJSON* owner, const char* key, T* number) {
    return LoadFrom(owner, {key, 0, sizeof(T), Kind::kNumber}, number);
}

template <std::unsigned_integral T>
int StoreNumber(cJSON* owner, const char* key, T number) {
    return StoreInto(owner, {key, 0, sizeof(T), Kind::kNumber}, &number);
}

inline int LoadFlag(const cJSON* owner, const char* key, std::uint8_t* flag) {
    return LoadFrom(owner, {key, 0, 1, Kind::kFlag}, flag);
}

inline int StoreFlag(cJSON* owner, const char* key, std::uint8_t flag) {
    return StoreInto(owner, {key, 0, 1, Kind::kFlag}, &flag);
}

// `size` is that of the field, NUL included; kBadArgument when the text does not fit.
int StoreText(cJSON* owner, const char* key, const char* text, std::size_t size);

// Seconds since the router's "started"; without it time stands still.
int LoadUpTime(const cJSON* home, std::uint64_t* seconds);

// A counter {"bytes", "rate"} as it has grown since the router started.
int LoadCounter(const cJSON* home, const cJSON* owner, const char* key, std::uint64_t* value);

}  // namespace simulator
