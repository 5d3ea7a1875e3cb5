// Ownership of cJSON trees and printed texts.
#pragma once

#include <cjson/cJSON.h>

#include <memory>

namespace plug {

struct JsonDeleter {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
    void operator()(char* text) const { cJSON_free(text); }
};
using JsonPtr = std::unique_ptr<cJSON, JsonDeleter>;
using JsonText = std::unique_ptr<char, JsonDeleter>;

}  // namespace plug
