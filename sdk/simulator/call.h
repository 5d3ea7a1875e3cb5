// The frame of every SDK call: delay, lock, load, fault, body, save, log.
#pragma once

#include <cjson/cJSON.h>
#include <router_sdk.h>

#include <concepts>
#include <initializer_list>
#include <string>

namespace simulator {

// How arguments look in the call log.
struct Mac {
    const std::uint8_t* bytes;
};
struct Address {
    std::uint32_t value;
};
void Append(std::string& line, Mac mac);
void Append(std::string& line, Address address);
void Append(std::string& line, const char* text);
void Append(std::string& line, const ssid_cfg& record);
void Append(std::string& line, const dev_cfg& record);
void Append(std::string& line, std::integral auto number) {
    line += std::to_string(number);
}

// Refers to an argument of any type above; put into words only when there is a log to write.
struct Argument {
    template <class T>
    Argument(const T& argument)
        : value(&argument),
          append([](std::string& line, const void* it) { Append(line, *static_cast<const T*>(it)); }) {}

    const void* value;
    void (*append)(std::string& line, const void* value);
};
using Arguments = std::initializer_list<Argument>;

// Refers to a callable int(cJSON* home) for the length of a call.
struct Body {
    template <class F>
    Body(const F& body)
        : object(&body),
          run([](const void* it, cJSON* home) -> int { return (*static_cast<const F*>(it))(home); }) {}

    int operator()(cJSON* home) const { return run(object, home); }

    const void* object;
    int (*run)(const void* object, cJSON* home);
};

// The body only reads the tree; its result is the call's.
int Get(const char* function, Arguments arguments, Body body);

// The body changes the tree; the changes are saved when it returns 0 and forgotten when not.
int Set(const char* function, Arguments arguments, Body body);

// The body returns the value; 0 when the state cannot be used.
std::uint16_t Value(const char* function, Arguments arguments, Body body);

// The count that a list call reports: the true one unless the file's "counts" says otherwise.
int ReportedCount(const cJSON* home, const char* function, int count);

}  // namespace simulator
