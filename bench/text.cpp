#include "bench/text.h"

#include <algorithm>
#include <numeric>

namespace plug::bench {
namespace {

constexpr std::size_t kLineWidth = 79;

/// How many letters must be put in, taken out or replaced to make one word of the other.
std::size_t Distance(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string Nearest(const std::string& word, const std::vector<std::string>& words) {
    std::string nearest;
    std::size_t least = word.size() / 3 + 2;  // further away it is another word
    for (const std::string& candidate : words) {
        // What was begun right is nearer than what is as short.
        const bool begun = word.size() > 2 && candidate.starts_with(word);
        const std::size_t distance = begun ? 1 : Distance(word, candidate);
        if (distance >= std::min(least, candidate.size())) continue;
        least = distance;
        nearest = candidate;
    }
    return nearest;
}

std::string DidYouMean(const std::string& word, const std::vector<std::string>& words) {
    const std::string nearest = Nearest(word, words);
    return nearest.empty() ? "" : "; did you mean " + nearest + "?";
}

std::string Wrapped(const std::string& text, const std::string& indent) {
    std::string lines;
    std::string line = indent;
    for (const std::string& word : Split(text, ' ')) {
        if (line.size() > indent.size() && line.size() + 1 + word.size() > kLineWidth) {
            lines += line + "\n";
            line = indent;
        }
        line += (line.size() > indent.size() ? " " : "") + word;
    }
    return lines + line + "\n";
}

std::string Cut(const std::string& line) {
    return line.size() <= kLineWidth ? line : line.substr(0, kLineWidth - 3) + "...";
}

}  // namespace plug::bench
