#include "subdev/arp_table.h"

#include <arpa/inet.h>

namespace plug {
namespace {

constexpr std::size_t kLongestPrefix = 12;

/// The next token of `line`, which loses it; empty at its end.
std::string_view TakeToken(std::string_view& line) {
    constexpr std::string_view kBlanks = " \t\r\n";
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    const std::string_view token = line.substr(0, line.find_first_of(kBlanks));
    line.remove_prefix(token.size());
    return token;
}

bool ParseAddress(std::string_view text, std::uint32_t& address) {
    std::array<char, INET_ADDRSTRLEN> dotted;
    in_addr parsed{};
    if (text.size() >= dotted.size()) return false;
    CopyText(dotted, text);
    if (inet_pton(AF_INET, dotted.data(), &parsed) != 1) return false;
    address = ntohl(parsed.s_addr);
    return true;
}

}  // namespace

std::optional<ArpEntry> ParseArpLine(std::string_view line) {
    const std::string_view address = TakeToken(line);
    TakeToken(line);  // hardware type
    TakeToken(line);  // flags
    const std::string_view mac = TakeToken(line);
    ArpEntry entry;
    if (!ParseAddress(address, entry.address) || !ParseMac(mac, entry.mac)) return std::nullopt;
    return entry;
}

std::string_view NetworkPrefix(std::string_view dotted) {
    std::size_t end = 0;
    for (int dots = 0; dots < 3; ++dots) {
        const std::size_t dot = dotted.find('.', end);
        if (dot == std::string_view::npos) return {};
        end = dot + 1;
    }
    return end <= kLongestPrefix ? dotted.substr(0, end) : std::string_view{};
}

}  // namespace plug
