#include "support/sandbox.h"

#include <unistd.h>

#include <cstdlib>

#include "bench/sandbox.h"
#include "core/paths.h"
#include "core/profile.h"
#include "platform/settings.h"
#include "support/home.h"

namespace plug::test {
namespace {

constexpr char kProgramCalls[] = "/tmp/program_calls";

}  // namespace

Sandbox::Sandbox() {
    bench::EnterSandbox("127.0.0.1 localhost\n");
    setenv("ROUTER_SIM", kHomePath, 1);
}

void Sandbox::Program(const std::string& name, const std::string& script) {
    // One write a call, so that calls of several programs do not mix.
    bench::ReplaceProgram(
        name, "call=${0##*/}\nfor word; do call=\"$call [$word]\"; done\nprintf '%s\\n' \"$call\" >>" +
                  std::string(kProgramCalls) + "\n" + script);
}

Lines Sandbox::ProgramCalls() {
    return ReadLines(kProgramCalls);
}

void Sandbox::ForgetProgramCalls() {
    unlink(kProgramCalls);
}

void Sandbox::ExpectOthersMakeWay(const char* path, const std::function<void()>& write) {
    constexpr char kVictim[] = "/tmp/victim";
    const std::pair<const char*, std::function<int()>> others[] = {
        {"a link", [=] { return symlink(kVictim, path); }},
        {"a second name", [=] { return link(kVictim, path); }},
        {"a pipe", [=] { return mkfifo(path, 0600); }},
        {"everybody's", [=] { return WriteFile(path, ""), chmod(path, 0666); }},
        {"another user's", [=] { return WriteFile(path, ""), chown(path, 1, 1); }},
    };
    for (const auto& [what, plant] : others) {
        SCOPED_TRACE(what);
        WriteFile(kVictim, "untouched");
        unlink(path);
        if (plant() != 0) continue;  // without root's rights there are no other users
        write();
        EXPECT_EQ("untouched", ReadFile(kVictim));
        struct stat file {};
        ASSERT_EQ(0, lstat(path, &file));
        EXPECT_TRUE(S_ISREG(file.st_mode));
        EXPECT_EQ(0U, file.st_mode & (S_IWGRP | S_IWOTH));
        EXPECT_EQ(geteuid(), file.st_uid);
        EXPECT_EQ(1U, file.st_nlink);
    }
    unlink(path);
}

void Sandbox::UseProfile(const std::string& text) {
    WriteFile(kDefaultProfilePath, text);
    NewProgramProfile("", kDefaultProfilePath);
    ASSERT_EQ(ServerChoice::kBoth, InitProtool());
}

}  // namespace plug::test
