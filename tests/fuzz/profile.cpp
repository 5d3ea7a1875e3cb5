// Any plug.conf: no value is longer than its room, and all that start-up reads of it end.
#include "core/profile.h"

#include "bench/process.h"
#include "core/paths.h"
#include "fuzz/surroundings.h"
#include "platform/settings.h"

namespace plug::test {
namespace {

bool Ends(std::span<const char> text) {
    return memchr(text.data(), '\0', text.size()) != nullptr;
}

}  // namespace

void Look(ByteReader input) {
    const std::size_t room = std::size_t{1} + input.U8() % 80;
    bench::WriteFile(kDefaultProfilePath, std::string(AsText(input.rest())));
    NewProgramProfile("", kDefaultProfilePath);
    std::vector<char> value(room, 'x');
    if (getKeyValueStr("Protool", "KEY", "default", value) == 0) Require(Ends(value));

    const ServerChoice choice = InitProtool();
    const Settings& settings = PlatformSettings();
    Require(Ends(settings.pin) && Ends(settings.key) && Ends(settings.address1) && Ends(settings.address2));
    if (choice != ServerChoice::kNone) Require(settings.port >= 2048 && settings.port <= 65530);
}

}  // namespace plug::test
