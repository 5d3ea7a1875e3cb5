// Configuration data that the platform sends as JSON.
#pragma once

#include <string_view>

namespace plug {

/// Takes a text of 2 to 1023 characters; its "value_func61" is a URL against which a rate test is started.
/// 0 when the key was there, also when a test runs already; else 1. Response thread.
int ParseConfigData(std::string_view json);

}  // namespace plug
