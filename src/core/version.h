// The agent's own version: four numbers and the build date, as the platform and the logs show them.
#pragma once

namespace plug {

constexpr int kVersion[4] = {2, 0, 0, 7};
constexpr char kBuildDate[] = "20221227";

}  // namespace plug
