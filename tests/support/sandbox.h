// What tests of fixed paths, programs, names and addresses run in.
#pragma once

#include "support/text.h"

namespace plug::test {

/// Namespaces of the test's own: an empty /tmp, a loopback without other networks, no name but localhost, and
/// programs of its own in front of the PATH. Without the right to make them the test fails.
class Sandbox : public testing::Test {
  protected:
    Sandbox();

    /// A program for the PATH: a shell script that notes its call, then runs `script`.
    static void Program(const std::string& name, const std::string& script = "");
    /// The calls of such programs so far, one "name [argument] [argument]..." each, in their order.
    static Lines ProgramCalls();
    static void ForgetProgramCalls();

    /// Puts what is not the agent's own in the place of `path`, one thing after the other: `write` must
    /// replace it by a file that is, and not write through it.
    static void ExpectOthersMakeWay(const char* path, const std::function<void()>& write);

    /// Reads the settings from a plug.conf with this text; without a server's name it means Test Mode.
    static void UseProfile(const std::string& text);
};

}  // namespace plug::test
