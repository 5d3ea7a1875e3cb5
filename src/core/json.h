// Ownership of cJSON trees and printed texts, and reading of members. Keys are found without regard to case.
#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <optional>

namespace plug {

struct JsonDeleter {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
    void operator()(char* text) const { cJSON_free(text); }
};
using JsonPtr = std::unique_ptr<cJSON, JsonDeleter>;
using JsonText = std::unique_ptr<char, JsonDeleter>;

/// The member's text; null when it is missing or no string.
inline const char* JsonString(const cJSON* object, const char* key) {
    return cJSON_GetStringValue(cJSON_GetObjectItem(object, key));
}

/// The member's integer value (of no number: 1 for true, else 0); none when it is missing.
inline std::optional<int> JsonInteger(const cJSON* object, const char* key) {
    const cJSON* const item = cJSON_GetObjectItem(object, key);
    if (item == nullptr) return std::nullopt;
    return item->valueint;
}

}  // namespace plug
