// A private world for a test or a measurement: the calling process moves into its own mount and network
// namespaces, with an empty /tmp and a loopback of its own. Nothing in it reaches the machine, and it ends
// with the process.
#pragma once

#include <string>
#include <vector>

namespace plug::bench {

struct SandboxOptions {
    std::string hosts;  // content of a private /etc/hosts; empty: the machine's own
    std::vector<std::string>
        keep;  // folders under /tmp that stay visible, besides the program's and the current one
};

/// Enters for good; later children inherit it. As root with plain namespaces, else with a user namespace in
/// which the caller is root. Call it before any thread is started. Throws std::system_error naming the step
/// that failed.
void EnterSandbox(const SandboxOptions& options = {});

/// Replaces the private /etc/hosts of a sandbox that was entered with one.
void ReplaceHosts(const std::string& content);

}  // namespace plug::bench
