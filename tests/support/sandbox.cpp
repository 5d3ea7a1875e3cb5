#include "support/sandbox.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

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
    bench::EnterSandbox({.hosts = "127.0.0.1 localhost\n", .keep = {}});
    std::filesystem::create_directory("/tmp/bin");
    setenv("PATH", (std::string("/tmp/bin:") + getenv("PATH")).c_str(), 1);
    setenv("ROUTER_SIM", kHomePath, 1);
}

void Sandbox::Program(const std::string& name, const std::string& script) {
    const std::string path = "/tmp/bin/" + name;
    // One write a call, so that calls of several programs do not mix.
    WriteFile(path, "#!/bin/sh\ncall=${0##*/}\nfor word; do call=\"$call [$word]\"; done\necho \"$call\" >>" +
                        std::string(kProgramCalls) + "\n" + script);
    chmod(path.c_str(), 0755);
}

Lines Sandbox::ProgramCalls() {
    return ReadLines(kProgramCalls);
}

void Sandbox::ForgetProgramCalls() {
    unlink(kProgramCalls);
}

void Sandbox::ExpectLinkIsRefused(const char* path, const std::function<void()>& write) {
    WriteFile("/tmp/victim", "untouched");
    unlink(path);
    ASSERT_EQ(0, symlink("/tmp/victim", path));
    write();
    EXPECT_EQ("untouched", ReadFile("/tmp/victim"));
    unlink(path);
}

void Sandbox::UseProfile(const std::string& text) {
    WriteFile(kDefaultProfilePath, text);
    NewProgramProfile("", kDefaultProfilePath);
    ASSERT_EQ(ServerChoice::kBoth, InitProtool());
}

}  // namespace plug::test
