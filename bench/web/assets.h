// The files of the page, as the build put them into the program.
#pragma once

#include <span>
#include <string_view>

namespace plug::bench {

struct Asset {
    std::string_view path;  // "/page.css"
    std::string_view content;
};
std::span<const Asset> Assets();

}  // namespace plug::bench
