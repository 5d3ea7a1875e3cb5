// The command line.
#pragma once

#include "core/text.h"

namespace plug {

struct Options {
    bool debug = false;                    // -d
    std::array<char, 256> profile_path{};  // -f, empty when not given
    MacAddress mac{};                      // -m, all zero when not given
};

/// Parses the options "df:m:". 0; -1 when -f lacks a file or its path is over 255 characters; -2 when -m is
/// not twelve characters. An unknown option is logged and skipped.
int config_line_proc(int argc, char* const* argv, Options& options);

}  // namespace plug
