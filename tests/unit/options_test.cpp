// The command line.
#include "core/options.h"

#include "support/text.h"

namespace plug::test {
namespace {

TEST(Options, AreTakenInOrderAndWrongOnesEndIt) {
    const std::string at_most(255, 'p');
    constexpr char kNoFile[] = "Error: -f argument given but no file specified.\n";
    constexpr char kBadMac[] = "Error: mac format must be \"aabbccddeeff\".\n";
    constexpr char kKept[] = "112233445566";
    const struct {
        std::vector<std::string> arguments;
        int result;
        bool debug;
        std::string path;
        const char* mac;
        const char* said;  // "" is silence
    } kCases[] = {
        {{"-d", "-f", "/etc/a b", "-m", "0a1B2c3D4e5F"}, 0, true, "/etc/a b", "0a1b2c3d4e5f", ""},
        {{"-df/x", "-mFFFFFFFFFFFF"}, 0, true, "/x", "ffffffffffff", ""},
        {{"-f", at_most}, 0, false, at_most, kKept, ""},
        {{"-f", at_most + "p", "-d"}, -1, false, "", kKept, "256"},
        {{"-d", "-f"}, -1, true, "", kKept, kNoFile},
        {{"-m", "00112233445", "-d"}, -2, false, "", kKept, kBadMac},
        {{"-m", "0011223344556"}, -2, false, "", kKept, kBadMac},
        {{"-x", "-d"}, 0, true, "", kKept, "Unknown option: x"},
        {{"-dyf", "/z"}, 0, true, "/z", kKept, "Unknown option: y"},
        // A character that is no digit: the high one leaves the byte, the low one adds nothing.
        {{"-m", "z8aGg:/@`{0f"}, 0, false, "", "19a03344550f", ""},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        Options options;
        options.mac = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66};
        std::vector<std::string> arguments = row.arguments;
        arguments.insert(arguments.begin(), "plug");
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        int result = 0;
        const std::string said = LogOf(
            [&] { result = config_line_proc(static_cast<int>(arguments.size()), argv.data(), options); });
        EXPECT_EQ(row.result, result);
        EXPECT_EQ(row.debug, options.debug);
        EXPECT_EQ(row.path, options.profile_path.data());
        EXPECT_EQ(row.mac, ToHex(options.mac));
        EXPECT_TRUE(*row.said == '\0' ? said.empty() : Contains(said, row.said)) << said;
    }
}

}  // namespace
}  // namespace plug::test
