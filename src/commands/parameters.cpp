#include "commands/parameters.h"

#include "core/log.h"
#include "core/text.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ProtoolSdk.c";

}  // namespace

bool TakeName(ByteReader& parameters, std::span<char> field) {
    const std::string_view rest = AsText(parameters.rest());
    const std::string_view name = rest.substr(0, rest.find('\0'));
    if (name.size() >= field.size()) {
        PLUG_LOG(kErr, "name of %zu characters refused, at most %zu fit", name.size(), field.size() - 1);
        return false;
    }
    CopyText(field, name);
    return true;
}

}  // namespace plug
