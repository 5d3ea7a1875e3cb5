#include "bench/text_table.h"

#include <ctime>

#include "bench/text.h"

namespace plug::bench {
namespace {

constexpr std::size_t kWidestTable = 132;
constexpr char kIndent[] = "    ";

bool IsTable(const Json& value) {
    return value.is_array() && !value.empty() && value.front().is_object();
}

/// The width on the screen: UTF-8 continuation bytes take none.
std::size_t Width(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char character) { return (character & 0xC0) != 0x80; }));
}

std::string Padded(const std::string& text, std::size_t width, bool right = false) {
    const std::string padding(width - std::min(width, Width(text)), ' ');
    return right ? padding + text : text + padding;
}

/// A text of several lines goes below its name, indented.
std::string Block(const std::string& text) {
    std::string lines;
    for (const std::string& line : Split(text, '\n')) lines += std::string("\n") + kIndent + kIndent + line;
    return lines;
}

std::string NameLines(const Json& object) {
    std::size_t width = 0;
    for (const auto& [name, value] : object.items())
        if (!IsTable(value)) width = std::max(width, name.size());
    std::string lines;
    for (const auto& [name, value] : object.items()) {
        if (IsTable(value)) continue;
        const std::string text = Inline(value);
        const bool block = text.find('\n') != std::string::npos;
        lines += kIndent + (text.empty() || block ? name : Padded(name, width + 2)) +
                 (block ? Block(text) : text) + "\n";
    }
    return lines;
}

struct Column {
    std::string name;
    std::size_t width;
};

std::vector<Column> ColumnsOf(const Json& rows) {
    std::vector<Column> columns;
    for (const auto& [name, first] : rows.front().items()) {
        std::size_t width = name.size();
        for (const Json& row : rows) width = std::max(width, Width(Inline(row.value(name, Json()))));
        columns.push_back({name, width});
    }
    return columns;
}

std::string Trimmed(const std::string& line) {
    return line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
}

/// One line a row, numbers to the right; a row a block when the lines would be too wide.
std::string Table(const Json& rows) {
    const std::vector<Column> columns = ColumnsOf(rows);
    std::size_t total = 0;
    for (const Column& column : columns) total += column.width + 2;
    std::string lines;
    if (total > kWidestTable) {
        for (const Json& row : rows) lines += (lines.empty() ? "" : "\n") + NameLines(row);
        return lines;
    }
    std::string line = kIndent;
    for (const auto& [name, width] : columns)
        line += Padded(name, width, rows.front().value(name, Json()).is_number()) + "  ";
    lines = Trimmed(line);
    for (const Json& row : rows) {
        line = kIndent;
        for (const auto& [name, width] : columns) {
            const Json value = row.value(name, Json());
            line += Padded(Inline(value), width, value.is_number()) + "  ";
        }
        lines += Trimmed(line);
    }
    return lines;
}

}  // namespace

std::string ClockText(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 16> text;
    strftime(text.data(), text.size(), "%H:%M:%S", &local);
    return text.data();
}

std::string Inline(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_null()) return "";
    if (!value.is_array()) return value.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::string list;
    for (const Json& element : value) list += (list.empty() ? "" : ", ") + Inline(element);
    return list;
}

std::string Lines(const Json& object) {
    if (!object.is_object()) return kIndent + Inline(object) + "\n";
    std::string lines = NameLines(object);
    for (const auto& [name, value] : object.items())
        if (IsTable(value)) lines += Table(value);
    return lines;
}

}  // namespace plug::bench
