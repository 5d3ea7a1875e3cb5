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
        WriteFile(kDefaultProfilePath, text);
        NewProgramProfile("", kDefaultProfilePath);
        ServerChoice choice{};
        said_ = LogOf([&] { choice = InitProtool(); });
        return choice;
    }

    std::string said_;
};

TEST_F(SettingsFile, ThePortHasLimits) {
    constexpr struct {
        const char* line;
        int port;  // 0: refused
    } kCases[] = {
        {"PORT=2047", 0},      {"PORT=2048", 2048}, {"PORT=65530", 65530},
        {"PORT=65531", 0},     {"PORT=-2048", 0},   {"PORT=x", 0},
        {"PORT=7000 x", 7000}, {"PORT=0x1F90", 0},  {"PORT=9999999", 0},
        {"PORT=", 6039},       {"", 6039},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.line);
        const ServerChoice choice = Init(std::string("[Protool]\nSERVER1=192.168.1.10\n") + row.line + "\n");
        EXPECT_EQ(row.port != 0 ? ServerChoice::kBoth : ServerChoice::kNone, choice);
        if (row.port != 0) {
            EXPECT_EQ(row.port, PlatformSettings().port);
        }
        EXPECT_EQ(row.port == 0, Contains(said_, "RegPort error.\n")) << said_;
    }
}

TEST_F(SettingsFile, AServerWithoutComIsTestMode) {
    SetLogMask(kAllLevels);
    EXPECT_TRUE(PlatformSettings().run_mode) << "until the file says otherwise";
    EXPECT_EQ(ServerChoice::kBoth, Init("[Dev]\nPIN=" + std::string(80, 'p') + "\n[Protool]\nKEY=" +
                                        std::string(40, 'k') + "\nSERVER1=192.168.1.10\nSERVER2=two.com\n"));
    const Settings& settings = PlatformSettings();
    EXPECT_FALSE(settings.run_mode);
    EXPECT_STREQ("192.168.1.10", settings.address1.data());
    EXPECT_STREQ("192.168.1.10", settings.address2.data());
    EXPECT_EQ(std::string(63, 'p'), settings.pin.data());
    EXPECT_EQ(std::string(31, 'k'), settings.key.data());
    for (const std::string& line : {"PIN:\t" + std::string(63, 'p'), "KEY:\t" + std::string(31, 'k'),
                                    std::string("SERVER1:\t192.168.1.10"), std::string("SERVER2:\ttwo.com"),
                                    std::string("PORT:\t6039")})
        EXPECT_TRUE(Contains(said_, line + "\n\n")) << line;

    EXPECT_EQ(ServerChoice::kBoth, Init("[Protool]\nSERVER1=" + std::string(40, '1') + "\n"));
    EXPECT_EQ(std::string(31, '1'), PlatformSettings().address1.data());
    EXPECT_STREQ("", PlatformSettings().pin.data());
    EXPECT_STREQ("", PlatformSettings().key.data());
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
                  Init(std::string("[Protool]\nSERVER1=") + row.server1 + "\nSERVER2=" + row.server2 + "\n"));
        EXPECT_TRUE(PlatformSettings().run_mode);
        if (row.address1 != nullptr) {
            EXPECT_STREQ(row.address1, PlatformSettings().address1.data());
        }
        if (row.address2 != nullptr) {
            EXPECT_STREQ(row.address2, PlatformSettings().address2.data());
        }
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
    constexpr std::pair<Status, const char*> kCodes[] = {
        {Status::kRegistering, "001\n"},    {Status::kRegistered, "002\n"},
        {Status::kLoggedIn, "003\n"},       {Status::kForcedDisconnect, "005\n"},
        {Status::kRegisterFailed, "101\n"}, {Status::kStartFailed, "102\n"},
        {Status::kLinkLost, "103\n"},
    };
    for (const auto& [status, text] : kCodes) {
        EXPECT_EQ(0, WriteStatus(status));
        EXPECT_EQ(text, ReadFile("/tmp/plugstatus"));
    }

    std::filesystem::remove("/tmp/plugstatus");
    EXPECT_EQ(0, WriteStatus(Status::kLoggedIn));
    struct stat info {};
    ASSERT_EQ(0, stat("/tmp/plugstatus", &info));
    EXPECT_EQ(0U, info.st_mode & (S_IWGRP | S_IWOTH)) << "only its owner writes it";

    // A link that someone planted is not followed.
    std::filesystem::remove("/tmp/plugstatus");
    WriteFile("/tmp/victim", "precious");
    std::filesystem::create_symlink("/tmp/victim", "/tmp/plugstatus");
    EXPECT_EQ(-1, WriteStatus(Status::kLoggedIn));
    EXPECT_EQ("precious", ReadFile("/tmp/victim"));
}

}  // namespace
}  // namespace plug::test
