// What the agent is told at its start, the command line and plug.conf, and the file that tells its state.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "core/options.h"
#include "core/paths.h"
#include "core/profile.h"
#include "core/status_file.h"
#include "platform/settings.h"
#include "support/sandbox.h"

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
        {{"-f", at_most}, 0, false, at_most, kKept, ""},
        {{"-f", at_most + "p", "-d"}, -1, false, "", kKept, "256"},
        {{"-d", "-f"}, -1, true, "", kKept, kNoFile},
        {{"-m", "00112233445", "-d"}, -2, false, "", kKept, kBadMac},
        {{"-m", "0011223344556"}, -2, false, "", kKept, kBadMac},
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
    for (const std::string& file : {std::string("/tmp/plug.conf"), standard, given}) {
        WriteFile(file, "[S]\nK=" + file + "\n");
        NewProgramProfile(given.c_str(), standard.c_str());
        EXPECT_EQ(0, getKeyValueStr("S", "K", nullptr, value));
        EXPECT_EQ(file, value.data());
    }
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

class SettingsFile : public Sandbox {
  protected:
    ServerChoice Init(const std::string& text) {
        WriteFile(kDefaultProfilePath, "[Protool]\n" + text);
        NewProgramProfile("", kDefaultProfilePath);
        ServerChoice choice{};
        said_ = LogOf([&] { choice = InitProtool(); });
        return choice;
    }

    std::string said_;
};

TEST_F(SettingsFile, ThePortHasLimits) {
    constexpr std::pair<const char*, int> kCases[] = {
        // 0: refused
        {"PORT=2047", 0}, {"PORT=2048", 2048},   {"PORT=65530", 65530}, {"PORT=65531", 0}, {"PORT=-2048", 0},
        {"PORT=x", 0},    {"PORT=7000 x", 7000}, {"PORT=9999999", 0},   {"PORT=", 6039}};
    for (const auto& [line, port] : kCases) {
        SCOPED_TRACE(line);
        const ServerChoice choice = Init(std::string("SERVER1=192.168.1.10\n") + line + "\n");
        EXPECT_EQ(port != 0 ? ServerChoice::kBoth : ServerChoice::kNone, choice);
        EXPECT_TRUE(port == 0 || port == PlatformSettings().port) << PlatformSettings().port;
        EXPECT_EQ(port == 0, Contains(said_, "RegPort error.\n")) << said_;
    }
}

TEST_F(SettingsFile, AServerWithoutComIsTestMode) {
    const Settings& settings = PlatformSettings();
    EXPECT_TRUE(settings.run_mode) << "until the file says otherwise";
    const std::string pin(63, 'p'), key(31, 'k');
    EXPECT_EQ(ServerChoice::kBoth,
              Init("KEY=" + key + "kk\nSERVER1=192.168.1.10\nSERVER2=two.com\n[Dev]\nPIN=" + pin + "pp\n"));
    EXPECT_FALSE(settings.run_mode);
    EXPECT_STREQ("192.168.1.10", settings.address1.data());
    EXPECT_STREQ("192.168.1.10", settings.address2.data());
    EXPECT_EQ(pin, settings.pin.data());
    EXPECT_EQ(key, settings.key.data());
    EXPECT_EQ(ServerChoice::kBoth, Init("SERVER1=" + std::string(40, '1') + "\n"));
    EXPECT_EQ(std::string(31, '1'), settings.address1.data());
}

class StatusFile : public Sandbox {};

TEST_F(StatusFile, IsItsOwnersAlone) {
    SetLogMask(0);
    umask(0);
    EXPECT_EQ(0, WriteStatus(Status::kLinkLost));
    EXPECT_EQ("103\n", ReadFile("/tmp/plugstatus"));
    struct stat info {};
    ASSERT_EQ(0, stat("/tmp/plugstatus", &info));
    EXPECT_EQ(0U, info.st_mode & (S_IWGRP | S_IWOTH));
    const std::ptrdiff_t descriptors = CountEntries("/proc/self/fd");
    ExpectOthersMakeWay("/tmp/plugstatus", [] {
        EXPECT_EQ(0, WriteStatus(Status::kLoggedIn));
        EXPECT_EQ("003\n", ReadFile("/tmp/plugstatus"));
    });
    EXPECT_EQ(descriptors, CountEntries("/proc/self/fd"));
    WriteFile("/tmp/plugstatus", "longer\n");
    ASSERT_EQ(0, chmod("/tmp/plugstatus", 0644));
    EXPECT_EQ(0, WriteStatus(Status::kLoggedIn));
    EXPECT_EQ("003\n", ReadFile("/tmp/plugstatus"));
}

TEST_F(StatusFile, IsWholeWheneverTheWriterIsKilled) {
    SetLogMask(0);
    const pid_t writer = fork();
    ASSERT_GE(writer, 0);
    while (writer == 0) {
        WriteStatus(Status::kRegistering);
        unlink("/tmp/plugstatus");
        WriteStatus(Status::kRegistered);
        WriteStatus(Status::kLinkLost);
    }
    for (int look = 0; look < 20'000; ++look) {
        const int file = open("/tmp/plugstatus", O_RDONLY);
        if (file < 0) continue;
        char text[8] = {};
        EXPECT_EQ(4, read(file, text, sizeof text)) << text;
        close(file);
    }
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
}

void ExpectLastWord(Status last, const std::string& text) {
    SetLogMask(0);
    for (const Status status : {last, Status::kLinkLost}) {
        EXPECT_EQ(0, WriteStatus(status));
        EXPECT_EQ(text, ReadFile("/tmp/plugstatus"));
    }
}

TEST_F(StatusFile, AForcedDisconnectStays) {
    ExpectLastWord(Status::kForcedDisconnect, "005\n");
}

TEST_F(StatusFile, AnUpdateThatIsReadyStays) {
    ExpectLastWord(Status::kUpdateReady, "004\n");
}

}  // namespace
}  // namespace plug::test
