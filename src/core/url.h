// Taking apart the URLs that the platform sends. The scheme is not looked at.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace plug {

struct UrlParts {
    std::string_view host;
    std::optional<std::string_view> port;  // none when the URL names none
    std::string_view path;                 // from its '/' to the end
};

/// Where a ':' starts the port: anywhere behind "://", the path included, or before the path only.
enum class PortMark : std::uint8_t { kAnywhere, kBeforePath };

/// None without "://" or without a '/' behind the host (and the port).
inline std::optional<UrlParts> SplitUrl(std::string_view url, PortMark mark) {
    constexpr std::string_view kSchemeEnd = "://";
    const std::size_t scheme_end = url.find(kSchemeEnd);
    if (scheme_end == std::string_view::npos) return std::nullopt;
    const std::string_view rest = url.substr(scheme_end + kSchemeEnd.size());
    const std::string_view searched = mark == PortMark::kAnywhere ? rest : rest.substr(0, rest.find('/'));
    const std::size_t colon = searched.find(':');
    const bool with_port = colon != std::string_view::npos;
    const std::size_t slash = rest.find('/', with_port ? colon : 0);
    if (slash == std::string_view::npos) return std::nullopt;
    if (!with_port) return UrlParts{rest.substr(0, slash), std::nullopt, rest.substr(slash)};
    return UrlParts{rest.substr(0, colon), rest.substr(colon + 1, slash - colon - 1), rest.substr(slash)};
}

/// The decimal number at the front of `text`; 0 when there is none or it is no int.
inline int DecimalValue(std::string_view text) {
    int value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

}  // namespace plug
