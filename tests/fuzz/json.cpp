// Every JSON that the platform sends: plug data by its type, rule lists, report and test configurations.
#include "commands/config_data.h"
#include "commands/diagnostics.h"
#include "commserver/auto_report_config.h"
#include "fuzz/surroundings.h"
#include "rules/bandwidth.h"
#include "rules/plug_data.h"
#include "rules/surf_rules.h"

namespace plug::test {
namespace {

/// The letter that an input starts with, and what reads the rest.
void Parse(char letter, ConstBytes rest) {
    constexpr std::string_view kDataTypes = "\1\2\4\5\6\7\11\17\20\22";
    const std::vector<char> text = ExactText(rest);
    switch (letter) {
        case 'b':
            ParseTcParam(text.data());
            return;
        case 's':
            ParseSurfRulesParam(text.data());
            return;
        case 'c':
            ParseConfigData(AsText(rest));
            StopDiagnostics();
            return;
        case 'r':
            ComF_set_auto_report(AsText(rest));
            ComF_send_calibration();
            return;
        default:
            if (const auto type = static_cast<std::size_t>(letter - 'A'); type < kDataTypes.size())
                ParserPlugData(static_cast<std::uint8_t>(kDataTypes[type]), text.data());
    }
}

}  // namespace

void Look(ByteReader input) {
    const char letter = static_cast<char>(input.U8());
    if (input.rest().size() > 4000) return;
    const std::vector<std::uint8_t> rest = Exact(input.rest());
    Parse(letter, rest);
}

}  // namespace plug::test
