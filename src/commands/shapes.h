// The answer shapes that most commands share, as templates over the SDK operation: a command of a common
// shape is one row of the table. The operation's signature says which parameters are read and how wide the
// answer is.
#pragma once

#include <tuple>

#include "commands/answer.h"
#include "core/log.h"
#include "router/sdk_lock.h"
#include "router/sdk_records.h"

namespace plug {

namespace shape {

inline constexpr char kLogModule[] = "ProtoolSdk.c";

inline void Put(ByteWriter& out, std::uint8_t value) {
    out.U8(value);
}
inline void Put(ByteWriter& out, std::uint16_t value) {
    out.U16(value);
}
inline void Put(ByteWriter& out, std::uint32_t value) {
    out.U32(value);
}
inline void Put(ByteWriter& out, std::uint64_t value) {
    out.U64(value);
}

template <class Integer>
Integer Take(ByteReader& in);
template <>
inline std::uint8_t Take(ByteReader& in) {
    return in.U8();
}
template <>
inline std::uint16_t Take(ByteReader& in) {
    return in.U16();
}

template <class Value>
void Query(int (*get)(Value*), ByteReader&, Answer& answer) {
    Value value{};
    answer.result = SdkCode(get(&value));
    Put(answer.payload, value);
}

template <class Value>
void Query(int (*get)(std::uint16_t, Value*), ByteReader& parameters, Answer& answer) {
    Value value{};
    answer.result = SdkCode(get(parameters.U16(), &value));
    Put(answer.payload, value);
}

template <class... Values>
void Change(int (*set)(Values...), ByteReader& parameters, Answer& answer) {
    // Braces fix the order of the reads.
    std::tuple<Values...> values{Take<Values>(parameters)...};
    answer.result = SdkCode(std::apply(set, values));
}

template <class Record>
void QueryRecord(int (*get)(Record*), ByteReader&, Answer& answer) {
    Record record{};
    answer.result = SdkCode(get(&record));
    PutRecord(answer.payload, record);
}

template <class Record>
void QueryRecord(int (*get)(Record*, std::uint16_t), ByteReader& parameters, Answer& answer) {
    Record record{};
    answer.result = SdkCode(get(&record, parameters.U16()));
    PutRecord(answer.payload, record);
}

template <std::size_t room, class Record>
void QueryList(int (*get)(Record*, int*), Answer& answer) {
    Record records[room] = {};
    int count = 0;
    if (const std::uint16_t code = SdkCode(get(records, &count)); code != 0) {
        answer.Fail(code);
        return;
    }
    if (count < 0 || static_cast<std::size_t>(count) > room) {
        PLUG_LOG(kErr, "list of %d entries refused, room is %zu", count, room);
        answer.Fail(kLocalFailure);
        return;
    }
    answer.payload.U16(static_cast<std::uint16_t>(count));
    for (const Record& record : std::span(records).first(static_cast<std::size_t>(count)))
        PutRecord(answer.payload, record);
}

}  // namespace shape

/// One value behind the result: 1, 2, 4 or 8 bytes. An operation with an index takes it from the parameters.
template <auto get>
void Get(ByteReader& parameters, Answer& answer) {
    shape::Query(get, parameters, answer);
}

/// The result alone; the operation's arguments are read from the parameters in their order.
template <auto set>
void Set(ByteReader& parameters, Answer& answer) {
    shape::Change(set, parameters, answer);
}

/// A whole record behind the result, by index where the operation takes one.
template <auto get>
void GetRecord(ByteReader& parameters, Answer& answer) {
    shape::QueryRecord(get, parameters, answer);
}

/// A count and its entries; the result alone when the operation fails or counts more than `room` entries.
template <auto get, std::size_t room>
void GetList(ByteReader&, Answer& answer) {
    shape::QueryList<room>(get, answer);
}

/// A handler that uses the SDK's device table. When the lock fails, its error number is the result, without
/// data.
template <CommandHandler handler>
void WithDevices(ByteReader& parameters, Answer& answer) {
    using shape::kLogModule;
    const SubdevLock lock;
    if (lock.error() != 0) {
        PLUG_LOG(kErr, "Get SubdevMutex failed");
        answer.Fail(SdkCode(lock.error()));
        return;
    }
    handler(parameters, answer);
}

/// A count that the operation returns as its value.
template <auto get>
void GetCount(ByteReader&, Answer& answer) {
    answer.payload.U16(get());
}

/// Accepted without doing anything, answered.
inline void Accept(ByteReader&, Answer&) {}

/// Accepted without doing anything, not answered.
inline void AcceptSilently(ByteReader&, Answer& answer) {
    answer.Silence();
}

}  // namespace plug
