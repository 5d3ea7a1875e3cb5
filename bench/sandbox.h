// A private world for a test or a measurement: the calling process moves into its own mount and network
// namespaces, with an empty /tmp and a loopback of its own. Nothing in it reaches the machine, and it ends
// with the process.
#pragma once

#include <cstdint>
#include <string>

namespace plug::bench {

enum class SandboxNetwork : std::uint8_t { kOwn, kMachines };

/// Enters for good; later children inherit it. Folders under /tmp stay visible that hold the program or are
/// the current one; `hosts`, when not empty, is the content of a private /etc/hosts. As root with plain
/// namespaces, else with a user namespace in which the caller is root. With kMachines the network stays the
/// machine's. Call it before any thread is started. Throws std::system_error naming the step that failed.
void EnterSandbox(const std::string& hosts = {}, SandboxNetwork network = SandboxNetwork::kOwn);

/// Replaces the private /etc/hosts of a sandbox that was entered with one.
void ReplaceHosts(const std::string& content);

/// Puts a shell script in the place of a program, for processes that are started in the sandbox from now on.
void ReplaceProgram(const std::string& name, const std::string& script);

}  // namespace plug::bench
