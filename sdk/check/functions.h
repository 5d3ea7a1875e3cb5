// The functions of the router's library as a table: how each is called, what it yields and what it is asked
// by.
#pragma once

#include <router_records.h>

#include <cstring>

namespace sdk_check {

using router_records::Field;
using router_records::Kind;
using Bytes = std::span<const std::uint8_t>;

/// What a call may pass on; an adapter takes what the function's signature needs.
struct Arguments {
    std::uint16_t index = 0;            // of a WAN, LAN port, SSID or module
    const std::uint8_t* mac = nullptr;  // of a device
    int which = 0;                      // of a device's speeds
    void* out = nullptr;                // where the value, the record or the list goes
    void* second = nullptr;             // where a list's count or the second address goes
    const void* in = nullptr;           // the value to set
};

/// Calls a function by its signature. Its result; a function that returns its value has it stored in `out`.
using Adapter = int (*)(void* function, const Arguments& arguments);

/// Which keys a function is asked by, one call each.
enum class Key : std::uint8_t { kNone, kWan, kPort, kSsid, kModule, kDevice, kSpeed };

enum class Role : std::uint8_t {
    kGet,     // one value or record
    kList,    // up to `room` records and their count
    kWlans,   // the buffer of get_wlans_cfg
    kSet,     // sets what the getter `reads` yields
    kAction,  // never called here
};

struct Function {
    const char* name;
    Adapter adapter;
    Role role = Role::kAction;
    std::span<const Field> fields{};  // of one value or record
    Key key = Key::kNone;
    std::size_t room = 1;             // records
    std::size_t second = 0;           // bytes of the second output
    const char* filled = "";          // the text that must not be empty
    const char* reads = "";           // of a setter: the getter
    Kind compared = Kind::kReserved;  // of a setter: the only fields that it sets; kReserved: all
};

/// Every function of router_sdk.h; a getter stands before those that are asked by what it yields.
std::span<const Function> Functions();

const Function& Find(const char* name);

inline bool Is(const Function& function, const char* name) {
    return strcmp(function.name, name) == 0;
}

/// The bytes of one value or record.
inline std::size_t RecordSize(const Function& function) {
    return function.fields.back().offset + function.fields.back().size;
}

/// The value of a field of up to eight bytes.
inline std::uint64_t Number(const Field& field, Bytes record) {
    std::uint64_t number = 0;
    memcpy(&number, record.data() + field.offset, field.size);
    return number;
}

}  // namespace sdk_check
