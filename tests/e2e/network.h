// The agent's surroundings: shell commands, and networks next to its own.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "bench/process.h"

namespace plug::e2e {

/// Runs a shell command, which must succeed, and returns its output.
inline std::string Shell(const std::string& command) {
    const bench::Outcome outcome = bench::Run({.argv = {"/bin/sh", "-ec", command}});
    if (outcome.status != 0)
        throw std::runtime_error(command + " exited with status " + std::to_string(outcome.status) + ": " +
                                 outcome.output);
    return outcome.output;
}

/// Adds a network named `name` behind an interface of that name: `own` and `other` are the addresses of its
/// two ends, with their prefix length.
inline void AddNetwork(const std::string& name, const std::string& own, const std::string& other) {
    if (!std::filesystem::exists("/run/netns") && mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0)
        throw std::runtime_error("no private /run");
    const std::string gateway = own.substr(0, own.find('/'));
    const std::string inside = "ip -n " + name + " ";
    Shell("ip netns add " + name);
    Shell("ip link add dev " + name + " type veth peer name eth0 netns " + name);
    Shell("ip addr add " + own + " dev " + name + "; ip link set dev " + name + " up");
    Shell(inside + "addr add " + other + " dev eth0; " + inside + "link set dev eth0 up");
    Shell(inside + "link set dev lo up; " + inside + "route add default via " + gateway);
}

/// Calls `act` inside a network; sockets that it opens stay there.
template <class Act>
void InNetwork(const std::string& name, Act act) {
    bool entered = false;
    std::thread([&] {
        const int space = open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC);
        entered = setns(space, CLONE_NEWNET) == 0;
        close(space);
        if (entered) act();
    }).join();
    if (!entered) throw std::runtime_error("no network " + name);
}

}  // namespace plug::e2e
