// What tests of fixed paths, programs and addresses run in: namespaces of their own with an empty /tmp, a
// loopback of their own and programs of their own in front of the PATH.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

class Sandbox : public testing::Test {
  protected:
    void SetUp() override;

    /// A program for the PATH: a shell script that notes its call, then runs `script`.
    static void Program(const std::string& name, const std::string& script = "");
    /// The calls so far, one "name [argument] [argument]..." each, in their order.
    static std::vector<std::string> Calls();

    static std::string Read(const std::string& path);
    static void Write(const std::string& path, std::string_view text);

    /// What the log shows of `action`, every level.
    static std::string LogOf(const std::function<void()>& action);
    /// Waits until `condition` holds; a failure of the test when it never does.
    static void WaitUntil(const std::function<bool()>& condition);
};
