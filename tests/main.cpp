// Runs the tests that are asked for, each in a process of its own: module state must not leak from one into
// the next, and a sandbox is entered for good. ctest asks for one at a time.
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "bench/process.h"

namespace {

using namespace plug::bench;  // NOLINT

constexpr Milliseconds kPatience{900'000};  // the longest of ctest's

std::string FilterArgument(const std::string& filter) {
    return "--gtest_filter=" + filter;
}

/// The tests that a filter selects.
std::vector<std::string> Selected(const std::string& filter) {
    std::istringstream list(
        Run({{"/proc/self/exe", "--gtest_list_tests", FilterArgument(filter)}, {}, "", true}).output);
    std::vector<std::string> tests;
    std::string suite;
    for (std::string line; std::getline(list, line);) {
        if (!line.starts_with("  "))
            suite = line;
        else
            tests.push_back(suite + line.substr(2, line.find("  #") - 2));  // without a parameter's value
    }
    return tests;
}

const char* Verdict(const Outcome& outcome) {
    if (outcome.status != 0) return "FAILED";
    return outcome.output.find("[  SKIPPED ]") == std::string::npos ? "passed" : "skipped";
}

/// Runs each with the arguments given; shows the output of those that fail. The exit status.
int RunEach(const std::vector<std::string>& tests, const std::vector<std::string>& arguments) {
    std::string failed;
    for (const std::string& test : tests) {
        ProcessSpec spec{arguments, {}, "", true};
        spec.argv[0] = "/proc/self/exe";
        spec.argv.push_back(FilterArgument(test));
        std::cout << test << ": " << std::flush;
        const Outcome outcome = Run(spec, kPatience);
        std::cout << Verdict(outcome) << std::endl;
        if (outcome.status == 0) continue;
        std::cout << outcome.output << std::endl;
        failed += "\n  " + test;
    }
    std::cout << tests.size() << " tests" << (failed.empty() ? ", none failed" : ", failed:" + failed)
              << std::endl;
    return failed.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv, argv + argc);
    testing::InitGoogleTest(&argc, argv);
    const std::string filter = testing::GTEST_FLAG(filter);
    const bool single = filter.find_first_of("*?:-") == std::string::npos;
    if (single || testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
    return RunEach(Selected(filter), arguments);
}
