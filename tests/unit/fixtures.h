// What several unit tests need: bytes as hexadecimal text, a folder of one's own, a private /tmp.
#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace plug::test {

/// Bytes as "0a1b2c", so that a difference can be read.
inline std::string Hex(std::span<const std::uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}
inline std::string Hex(std::string_view text) {
    return Hex(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

/// The hexadecimal form of `text` in a NUL-padded field.
inline std::string Field(std::string_view text, std::size_t size) {
    return Hex(text) + std::string(2 * (size - text.size()), '0');
}

/// The bytes of hexadecimal text, blanks skipped.
inline std::vector<std::uint8_t> FromHex(std::string_view text) {
    std::string digits;
    for (const char c : text) {
        if (c != ' ') digits += c;
    }
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

inline std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}
inline void WriteText(const std::string& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
}

class TempFolder {
  public:
    TempFolder() {
        char path[] = "/tmp/plug_test.XXXXXX";
        path_ = mkdtemp(path);
    }
    ~TempFolder() { std::filesystem::remove_all(path_); }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string File(std::string_view name) const { return path_ + "/" + std::string(name); }

  private:
    std::string path_;
};

/// An empty /tmp that only this process sees, for what writes to fixed paths. Needs root.
inline void EnterPrivateTmp() {
    ASSERT_EQ(0, unshare(CLONE_NEWNS)) << "a private mount namespace needs root";
    ASSERT_EQ(0, mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr));
    ASSERT_EQ(0, mount("tmpfs", "/tmp", "tmpfs", 0, nullptr));
}

/// What `action` writes to standard error.
template <class Action>
std::string Stderr(Action action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

inline bool Contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

}  // namespace plug::test
