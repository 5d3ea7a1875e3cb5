// The platform settings, and the file that tells the agent's state.
#include "platform/settings.h"

#include <sys/stat.h>

#include <filesystem>

#include "bench/sandbox.h"
#include "core/paths.h"
#include "core/profile.h"
#include "core/status_file.h"
#include "support/sandbox.h"

namespace plug::test {
namespace {

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
    SetLogMask(kAllLevels);
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
    for (const std::string& line : {"PIN:\t" + pin, "KEY:\t" + key, std::string("SERVER1:\t192.168.1.10"),
                                    std::string("SERVER2:\ttwo.com"), std::string("PORT:\t6039")})
        EXPECT_TRUE(Contains(said_, line + "\n\n")) << line;

    EXPECT_EQ(ServerChoice::kBoth, Init("SERVER1=" + std::string(40, '1') + "\n"));
    EXPECT_EQ(std::string(31, '1'), settings.address1.data());
    EXPECT_STREQ("", settings.pin.data());
}

TEST_F(SettingsFile, RunModeUsesTheServersThatResolve) {
    bench::ReplaceHosts("192.0.2.1 one.com\n192.0.2.2 two.org\n");
    SetLogMask(kAllLevels);
    constexpr struct {
        const char *server1, *server2;
        ServerChoice choice;
        const char *address1, *address2;
        const char* said;
    } kCases[] = {
        {"one.com", "two.org", ServerChoice::kBoth, "192.0.2.1", "192.0.2.2", "ip: 192.0.2.2"},
        {"one.com", "no.com", ServerChoice::kOnlyFirst, "192.0.2.1", nullptr, "Only access server1.\n"},
        {"no.com", "two.org", ServerChoice::kOnlySecond, nullptr, "192.0.2.2", "Only access server2.\n"},
        {"no.com", "no.org", ServerChoice::kNone, nullptr, nullptr, "gethostbyname error for host:no.org"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(testing::Message() << row.server1 << " " << row.server2);
        EXPECT_EQ(row.choice,
                  Init(std::string("SERVER1=") + row.server1 + "\nSERVER2=" + row.server2 + "\n"));
        EXPECT_TRUE(PlatformSettings().run_mode);
        const Settings& settings = PlatformSettings();
        EXPECT_TRUE(row.address1 == nullptr || settings.address1.data() == std::string_view(row.address1));
        EXPECT_TRUE(row.address2 == nullptr || settings.address2.data() == std::string_view(row.address2));
        EXPECT_EQ(row.address1 == nullptr, Contains(said_, "DNS resolve addres1 error !!!\n")) << said_;
        EXPECT_EQ(row.address2 == nullptr, Contains(said_, "DNS resolve addres2 error !!!\n")) << said_;
        EXPECT_TRUE(Contains(said_, row.said)) << said_;
    }
    // Without a file the default names are looked up.
    NewProgramProfile("/tmp/none", "");
    EXPECT_TRUE(Contains(LogOf([] { EXPECT_EQ(ServerChoice::kNone, InitProtool()); }),
                         "DNS resolve addres1 error !!!\n"));
    EXPECT_TRUE(PlatformSettings().run_mode);
}

class StatusFile : public Sandbox {};

TEST_F(StatusFile, HoldsThreeDigitsAndANewline) {
    SetLogMask(0);
    umask(0);
    WriteFile("/tmp/plugstatus", "something longer that was there");
    EXPECT_EQ(0, WriteStatus(Status::kForcedDisconnect));
    EXPECT_EQ("005\n", ReadFile("/tmp/plugstatus"));
    std::filesystem::remove("/tmp/plugstatus");
    EXPECT_EQ(0, WriteStatus(Status::kLinkLost));
    EXPECT_EQ("103\n", ReadFile("/tmp/plugstatus"));
    struct stat info {};
    ASSERT_EQ(0, stat("/tmp/plugstatus", &info));
    EXPECT_EQ(0U, info.st_mode & (S_IWGRP | S_IWOTH)) << "only its owner writes it";

    ExpectLinkIsRefused("/tmp/plugstatus", [] { EXPECT_EQ(-1, WriteStatus(Status::kLoggedIn)); });
}

}  // namespace
}  // namespace plug::test
