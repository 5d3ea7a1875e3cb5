#include "core/options.h"

#include <unistd.h>

#include "core/log.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "Common.c";

/// Lenient by intent: a first character that is no digit leaves the byte as it was, a second one adds
/// nothing.
void ReadHexPair(const char* pair, std::uint8_t& byte) {
    if (const int high = HexDigit(pair[0]); high >= 0) byte = static_cast<std::uint8_t>(high << 4);
    if (const int low = HexDigit(pair[1]); low >= 0) byte = static_cast<std::uint8_t>(byte | low);
}

int TakeProfilePath(const char* path, Options& options) {
    if (strlen(path) >= options.profile_path.size()) {
        PLUG_LOG(kErr, "Error: -f path of %zu characters is too long.", strlen(path));
        return -1;
    }
    CopyText(options.profile_path, path);
    return 0;
}

int TakeMac(const char* text, Options& options) {
    if (strlen(text) != 2 * options.mac.size()) {
        PLUG_LOG(kErr, "Error: mac format must be \"aabbccddeeff\".\n");
        return -2;
    }
    for (std::size_t i = 0; i < options.mac.size(); ++i) ReadHexPair(text + 2 * i, options.mac[i]);
    return 0;
}

}  // namespace

int config_line_proc(int argc, char* const* argv, Options& options) {
    const LogAuthor author(__func__);
    opterr = 0;
    optind = 1;
    for (int option = 0, result = 0; (option = getopt(argc, argv, "df:m:")) != -1;) {
        if (option == 'd') {
            options.debug = true;
        } else if (option == 'f') {
            result = TakeProfilePath(optarg, options);
        } else if (option == 'm') {
            result = TakeMac(optarg, options);
        } else if (optopt == 'f') {
            PLUG_LOG(kErr, "Error: -f argument given but no file specified.\n");
            result = -1;
        } else if (optopt == 'm') {
            result = TakeMac("", options);
        } else {
            PLUG_LOG(kErr, "Unknown option: %c", optopt);
        }
        if (result != 0) return result;
    }
    return 0;
}

}  // namespace plug
