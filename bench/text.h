// Texts taken apart and put together.
#pragma once

#include <array>
#include <cstdarg>
#include <cstdio>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace plug::bench {

/// The pieces between the separators; an empty one at the end does not count.
inline std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::istringstream rest(text);
    for (std::string piece; std::getline(rest, piece, separator);) pieces.push_back(piece);
    return pieces;
}

/// What printf would print; at most 511 bytes of it.
[[gnu::format(printf, 1, 2)]] inline std::string Format(const char* format, ...) {
    std::array<char, 512> text;
    va_list values;
    va_start(values, format);
    vsnprintf(text.data(), text.size(), format, values);
    va_end(values);
    return text.data();
}

/// "name=value"; without a '=' all of it is the name.
struct NamedValue {
    std::string name;
    std::optional<std::string> value;
};
inline NamedValue ParseNamed(const std::string& word) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos) return {word, {}};
    return {word.substr(0, equals), word.substr(equals + 1)};
}

/// Of some words the one that was probably meant; empty when none is near.
std::string Nearest(const std::string& word, const std::vector<std::string>& words);
/// "; did you mean x?", or nothing.
std::string DidYouMean(const std::string& word, const std::vector<std::string>& words);

/// The text in lines of at most 79 characters, each behind the indent.
std::string Wrapped(const std::string& text, const std::string& indent);
/// The line, cut to 79 characters and ended with "..." when it is longer.
std::string Cut(const std::string& line);

}  // namespace plug::bench
