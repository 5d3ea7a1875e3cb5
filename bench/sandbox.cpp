#include "bench/sandbox.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <system_error>

#include "bench/network.h"
#include "bench/process.h"

namespace plug::bench {
namespace {

constexpr char kHosts[] = "/etc/hosts";
constexpr char kPrivateHosts[] = "/tmp/.hosts";

void Check(bool done, const std::string& what) {
    if (!done) throw std::system_error(errno, std::generic_category(), "sandbox: " + what);
}

void Unshare(int spaces) {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (user == 0 && unshare(spaces) == 0) return;
    Check(unshare(spaces | CLONE_NEWUSER) == 0, "no namespaces");
    WriteFile("/proc/self/setgroups", "deny");
    WriteFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    WriteFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

/// Mounts an empty /tmp. The program's folder and the current one, held open meanwhile, are bound back to
/// their places in it.
void EmptyTmp() {
    std::map<std::string, int> kept;
    for (const std::string& path : {ProgramFolder(), std::filesystem::current_path().string()})
        if (path.starts_with("/tmp/")) kept[path] = open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    Check(mount("tmpfs", "/tmp", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") == 0, "empty /tmp");
    for (const auto& [path, descriptor] : kept) {
        std::filesystem::create_directories(path);
        const std::string source = "/proc/self/fd/" + std::to_string(descriptor);
        Check(mount(source.c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0,
              "keeping " + path);
        close(descriptor);
    }
}

}  // namespace

void EnterSandbox(const std::string& hosts, SandboxNetwork network) {
    const std::string here = std::filesystem::current_path();
    const bool own_network = network == SandboxNetwork::kOwn;
    Unshare(CLONE_NEWNS | (own_network ? CLONE_NEWNET : 0));
    Check(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    EmptyTmp();
    Check(chdir(here.c_str()) == 0 || chdir("/tmp") == 0, "current folder");
    if (own_network) RaiseLoopback();
    if (!hosts.empty()) {
        WriteFile(kPrivateHosts, hosts);
        Check(mount(kPrivateHosts, kHosts, nullptr, MS_BIND, nullptr) == 0, "private hosts");
    }
}

void ReplaceHosts(const std::string& content) {
    WriteFile(kPrivateHosts, content);
}

void ReplaceProgram(const std::string& name, const std::string& script) {
    static const std::string kFolder = "/tmp/bin";
    if (std::filesystem::create_directory(kFolder))
        setenv("PATH", (kFolder + ":" + getenv("PATH")).c_str(), 1);
    const std::string path = kFolder + "/" + name;
    WriteFile(path, "#!/bin/sh\n" + script + "\n");
    Check(chmod(path.c_str(), 0755) == 0, "program " + name);
}

}  // namespace plug::bench
