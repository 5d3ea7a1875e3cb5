#include "commands/config_data.h"

#include "commands/diagnostics.h"
#include "commands/rate_test.h"
#include "core/json.h"
#include "core/log.h"
#include "core/text.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ProtoolSdk.c";

constexpr std::size_t kShortest = 2;
constexpr std::size_t kLongest = 1023;

}  // namespace

int ParseConfigData(std::string_view json) {
    const LogAuthor author(__func__);
    if (json.size() < kShortest || json.size() > kLongest) return 1;
    std::array<char, kLongest + 1> text;
    CopyText(text, json);
    PLUG_LOG(kDebug, "ConfigData: %s", text.data());
    const JsonPtr tree(cJSON_Parse(text.data()));
    const char* const url = JsonString(tree.get(), "value_func61");
    if (url == nullptr) return 1;
    PLUG_LOG(kDebug, "func61 address: %s", url);
    if (StartRateTest(url) == kDiagnosticBusy) PLUG_LOG(kErr, "Please wait last finish.");
    return 0;
}

}  // namespace plug
