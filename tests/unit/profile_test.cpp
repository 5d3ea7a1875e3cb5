// The configuration file: which file is read, and every rule of its format.
#include "core/profile.h"

#include <filesystem>

#include "support/sandbox.h"

namespace plug::test {
namespace {

class Profile : public Sandbox {
  protected:
    Profile() { std::filesystem::current_path("/tmp"); }

    static void Use(const std::string& text) {
        WriteFile("/tmp/plug.conf", text);
        NewProgramProfile("/tmp/plug.conf", "");
    }
};

TEST_F(Profile, TheFirstReadableFileIsUsed) {
    const std::string given = "/tmp/given", standard = "/tmp/standard";
    std::array<char, 16> value{};
    const auto chosen = [&](std::string_view announced) {
        SetLogMask(kAllLevels);
        const std::string said = LogOf([&] { NewProgramProfile(given.c_str(), standard.c_str()); });
        EXPECT_TRUE(Contains(said, "[INFO]") && Contains(said, announced)) << said;
        SetLogMask(0);
        return getKeyValueStr("S", "K", nullptr, value) == 0 ? std::string(value.data()) : "none";
    };
    EXPECT_EQ("none", chosen("use config file\t[./plug.conf]"));
    WriteFile("/tmp/plug.conf", "[S]\nK=local\n");
    EXPECT_EQ("local", chosen("use config file\t[./plug.conf]"));
    WriteFile(standard, "[S]\nK=standard\n");
    EXPECT_EQ("standard", chosen("use config file  [" + standard + "]"));
    WriteFile(given, "[S]\nK=given\n");
    EXPECT_EQ("given", chosen("use config file  [" + given + "]"));
    WriteFile(given, "[S]\nK=edited\n");
    getKeyValueStr("S", "K", nullptr, value);
    EXPECT_STREQ("edited", value.data()) << "each key reads the file anew";
}

TEST_F(Profile, EveryRuleOfTheFormat) {
    const std::string blanks(506, ' ');
    const struct {
        const char* rule;
        std::string text;
        const char* value;  // nullptr: the key is not found
    } kCases[] = {
        {"blanks around the value and CRLF", "[Protool]\r\nKEY = abc  \t\r\n", "abc"},
        {"a tab behind the '=' belongs to the value", "[Protool]\nKEY= \tabc\n", "\tabc"},
        {"a comment line", "[Protool]\n# KEY=no\n \t#KEY=no\nKEY=abc\n", "abc"},
        {"the last match wins", "[Protool]\nKEY=one\nKEY=two\n", "two"},
        {"an empty value does not count", "[Protool]\nKEY=one\nKEY=\nKEY= \t\r\n", "one"},
        {"a key within another key", "[Protool]\nKEYX=long\n", "long"},
        {"in another section", "[Dev]\nKEY=abc\n", nullptr},
        {"the next header ends the section", "[Protool]\nKEY=abc\n[Dev]\nKEY=no\n", "abc"},
        {"the section again is not read", "[Protool]\nA=1\n[Protool]\nKEY=abc\n", nullptr},
        {"a section within a longer name", "[TheProtools]\nKEY=abc\n", "abc"},
        {"a '[' anywhere makes a header", "x Protool [\nKEY=abc\n", "abc"},
        {"a value with '[' ends the section", "[Protool]\nA=[\nKEY=abc\n", nullptr},
        {"a match without '=' ends the search", "[Protool]\nKEY=abc\nKEY\nKEY=no\n", "abc"},
        {"a value of the room less one", "[Protool]\nKEY=1234567\n", "1234567"},
        {"a longer value is cut", "[Protool]\nKEY=12345678\n", "1234567"},
        {"a line goes on as the next one after 511 bytes", "[Protool]\nKEY=a" + blanks + "KEY=b\n", "b"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.rule);
        Use(row.text);
        std::array<char, 8> value = {'x', '\0'};  // left alone when nothing is found
        const std::string said = LogOf([&] {
            EXPECT_EQ(row.value != nullptr ? 0 : -1, getKeyValueStr("Protool", "KEY", nullptr, value));
        });
        EXPECT_STREQ(row.value != nullptr ? row.value : "x", value.data());
        EXPECT_EQ(row.value == nullptr, Contains(said, "Not find Key=\"KEY\" and no default_str to use.\n"));
        EXPECT_EQ(0, getKeyValueStr("Protool", "KEY", "123456789", value));
        EXPECT_STREQ(row.value != nullptr ? row.value : "1234567", value.data());
    }
}

TEST_F(Profile, AMissingFileFailsEvenWithADefault) {
    NewProgramProfile("", "");
    std::array<char, 8> value{};
    for (const char* standard : {"123456789", static_cast<const char*>(nullptr)}) {
        const std::string said = LogOf([&] { EXPECT_EQ(-1, getKeyValueStr("Dev", "PIN", standard, value)); });
        EXPECT_STREQ("1234567", value.data());
        EXPECT_TRUE(Contains(said, "Can not fopen(\"./plug.conf\").\n")) << said;
        EXPECT_EQ(standard == nullptr, Contains(said, "Not find Key=\"PIN\" and no default_str to use.\n"));
    }
}

}  // namespace
}  // namespace plug::test
