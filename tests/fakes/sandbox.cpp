#include "fakes/sandbox.h"

#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <thread>

#include "core/log.h"

namespace {

constexpr char kCalls[] = "/tmp/calls";

// Brings an interface of loopback up, with an address.
bool RaiseLoopback(const char* name, std::uint32_t address) {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    ifreq request{};
    std::strcpy(request.ifr_name, name);
    sockaddr_in inet{};
    inet.sin_family = AF_INET;
    inet.sin_addr.s_addr = htonl(address);
    std::memcpy(&request.ifr_addr, &inet, sizeof inet);
    bool raised = ioctl(fd, SIOCSIFADDR, &request) == 0;
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    raised = raised && ioctl(fd, SIOCSIFFLAGS, &request) == 0;
    close(fd);
    return raised;
}

}  // namespace

void Sandbox::SetUp() {
    if (unshare(CLONE_NEWNS | CLONE_NEWNET) != 0) GTEST_SKIP() << "needs the right to make namespaces";
    ASSERT_EQ(0, mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr));
    ASSERT_EQ(0, mount("none", "/tmp", "tmpfs", 0, nullptr));
    // 192.0.2.1 is the address of the default rate-test server.
    ASSERT_TRUE(RaiseLoopback("lo", INADDR_LOOPBACK) && RaiseLoopback("lo:1", 0xC0000201));
    ASSERT_EQ(0, mkdir("/tmp/bin", 0755));
    setenv("PATH", (std::string("/tmp/bin:") + getenv("PATH")).c_str(), 1);
    setenv("ROUTER_SIM", "/tmp/router.json", 1);
}

void Sandbox::Program(const std::string& name, const std::string& script) {
    const std::string path = "/tmp/bin/" + name;
    // One write a call, so that calls of several programs do not mix.
    Write(path, "#!/bin/sh\ncall=${0##*/}\nfor word; do call=\"$call [$word]\"; done\necho \"$call\" >>" +
                    std::string(kCalls) + "\n" + script);
    chmod(path.c_str(), 0755);
}

std::vector<std::string> Sandbox::Calls() {
    std::vector<std::string> calls;
    std::ifstream in(kCalls);
    for (std::string line; std::getline(in, line);) calls.push_back(line);
    return calls;
}

std::string Sandbox::Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void Sandbox::Write(const std::string& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string Sandbox::LogOf(const std::function<void()>& action) {
    plug::SetLogMask(plug::kAllLevels);
    testing::internal::CaptureStderr();
    action();
    plug::SetLogMask(0);
    return testing::internal::GetCapturedStderr();
}

void Sandbox::WaitUntil(const std::function<bool()>& condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        ASSERT_LT(std::chrono::steady_clock::now(), limit) << "what was waited for did not come";
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}
