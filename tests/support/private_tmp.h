// A /tmp of the test's own, empty, so that the agent's fixed paths touch nothing of the machine's.
#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace plug_test {

inline void WriteFile(const std::string& path, const std::string& text) {
    // At once or not at all, for readers on other threads.
    std::ofstream(path + ".new") << text;
    if (rename((path + ".new").c_str(), path.c_str()) != 0) throw std::runtime_error("cannot write " + path);
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Enters a private mount namespace; without root through a user namespace.
inline void EnterPrivateTmp() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(user == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0)
        throw std::runtime_error("no private namespace");
    if (user != 0) {
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
        std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
    }
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777") != 0)
        throw std::runtime_error("no private /tmp");
}

}  // namespace plug_test
