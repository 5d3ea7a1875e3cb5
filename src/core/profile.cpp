#include "core/profile.h"

#include <unistd.h>

#include <array>
#include <cstdio>

#include "core/file.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/text.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Common.c";

struct ProfileState {
    std::array<char, 256> path{};  // main thread only
};
constinit ProfileState state;

constexpr char kBlanks[] = " \t";

bool IsComment(std::string_view line) {
    const std::size_t first = line.find_first_not_of(kBlanks);
    return first != std::string_view::npos && line[first] == '#';
}

/// The text behind the first '=' without the blanks around it; `line` contains a '='.
std::string_view ValueOf(std::string_view line) {
    std::string_view value = line.substr(line.find('=') + 1);
    const std::size_t first = value.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    value.remove_prefix(first);
    const std::size_t last = value.find_last_not_of(" \t\r\n");
    return last == std::string_view::npos ? std::string_view{} : value.substr(0, last + 1);
}

bool Contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

/// Scans the open file for the last value of `key` in `section`; true when there was one.
bool Scan(FILE* file, std::string_view section, std::string_view key, std::span<char> value) {
    bool found = false;
    bool inside = false;
    for (char buffer[512]; fgets(buffer, sizeof buffer, file) != nullptr;) {
        const std::string_view line(buffer);
        if (IsComment(line)) continue;
        if (Contains(line, "[")) {
            if (inside) break;
            inside = Contains(line, section);
            continue;
        }
        if (!inside || !Contains(line, key)) continue;
        if (!Contains(line, "=")) break;
        const std::string_view text = ValueOf(line);
        if (text.empty()) continue;
        CopyText(value, text);
        found = true;
    }
    return found;
}

}  // namespace

void NewProgramProfile(const char* given_path, const char* default_path) {
    const LogAuthor author(__func__);
    for (const char* path : {given_path, default_path}) {
        if (access(path, R_OK) != 0) continue;
        PLUG_LOG(kInfo, "use config file  [%s]", path);
        CopyText(state.path, path);
        return;
    }
    PLUG_LOG(kInfo, "use config file\t[%s]", kLocalProfilePath);
    CopyText(state.path, kLocalProfilePath);
}

int getKeyValueStr(const char* section, const char* key, const char* default_value, std::span<char> value) {
    const LogAuthor author(__func__);
    const FilePtr file = OpenToRead(state.path.data());
    if (file && Scan(file.get(), section, key, value)) return 0;
    if (!file) PLUG_LOG(kErr, "Can not fopen(\"%s\").\n", state.path.data());
    if (default_value == nullptr) {
        PLUG_LOG(kErr, "Not find Key=\"%s\" and no default_str to use.\n", key);
        return -1;
    }
    CopyText(value, default_value);
    return file ? 0 : -1;
}

}  // namespace plug
