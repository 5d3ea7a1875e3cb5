// The words of every unit test: bytes, texts, files, waits and what the log shows.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/frames.h"
#include "bench/process.h"
#include "bench/text.h"
#include "core/log.h"
#include "platform/wire.h"

namespace plug::test {

using bench::ByteVector;
using bench::MacText;
using bench::ParseHex;
using bench::ReadFile;
using bench::ToBytes;
using bench::ToHex;
using bench::WriteFile;
using Lines = std::vector<std::string>;

/// Text in hexadecimal form, also in a NUL-padded field.
inline std::string HexOf(std::string_view text) {
    return ToHex(AsBytes(text));
}
/// The bytes of such a form, as text.
inline std::string Unhex(std::string_view hex) {
    return std::string(AsText(ParseHex(hex)));
}
inline std::string Field(std::string_view text, std::size_t size) {
    return HexOf(text) + std::string(2 * (size - text.size()), '0');
}

inline bool Contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

/// The lines of a file, without their ends; none without a file.
inline Lines ReadLines(const std::string& path) {
    return bench::Split(ReadFile(path), '\n');
}

inline std::ptrdiff_t CountEntries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

/// Waits until `condition` holds; throws, which fails the test, when it does not within half a minute.
inline void WaitUntil(const std::function<bool()>& condition) {
    if (!bench::WaitUntil(condition, bench::Milliseconds(30'000)))
        throw std::runtime_error("what was waited for did not come");
}

/// What goes to standard error, where the log is, from one call to the other.
inline void CaptureLog() {
    testing::internal::CaptureStderr();
}
inline std::string CapturedLog() {
    return testing::internal::GetCapturedStderr();
}
/// What `action` logs with the mask as it is.
inline std::string LogOf(const std::function<void()>& action) {
    CaptureLog();
    action();
    return CapturedLog();
}
/// What `action` logs with every level on. The mask is for changing only while no other thread logs.
inline std::string FullLogOf(const std::function<void()>& action) {
    SetLogMask(kAllLevels);
    const std::string log = LogOf(action);
    SetLogMask(0);
    return log;
}

}  // namespace plug::test
