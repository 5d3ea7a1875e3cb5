#include "bench/result_text.h"

#include <span>

namespace plug::bench {
namespace {

struct Meaning {
    std::uint16_t result;
    const char* words;
};

// The agent's own results, and the simulated router's. Another router's library has codes of its own.
constexpr Meaning kOfAll[] = {
    {1, "the agent: busy, or it failed or refused"},
    {7, "the agent does not support this command"},
    {101, "the simulated router: its state file is unreadable, malformed or has a value that does not fit"},
    {102, "the simulated router: its state file could not be written"},
    {103, "the simulated router: no such device, WAN, port, SSID or module"},
    {104, "the simulated router: a text is longer than its field"},
};
constexpr Meaning kOfWindows[] = {{1, "no text"},      {2, "no JSON"},      {3, "an element without FLAG"},
                                  {4, "without MAC"},  {5, "without DAY"},  {6, "without START"},
                                  {7, "without STOP"}, {8, "without ALLOW"}};

const char* Words(std::span<const Meaning> meanings, std::uint16_t result) {
    for (const Meaning& meaning : meanings)
        if (meaning.result == result) return meaning.words;
    return nullptr;
}

}  // namespace

std::string ResultText(std::uint16_t function_id, std::uint16_t result) {
    static constexpr std::uint16_t kWindowsSet = 69;
    const char* words = nullptr;
    if (function_id == kWindowsSet) words = Words(kOfWindows, result);
    if (words == nullptr) words = Words(kOfAll, result);
    return "result " + std::to_string(result) + (words != nullptr ? " (" + std::string(words) + ")" : "");
}

}  // namespace plug::bench
