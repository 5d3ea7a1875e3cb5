// A function command of the platform, from command to answer.
#pragma once

#include <future>

#include "commands/dispatcher.h"
#include "platform/link_state.h"
#include "support/text.h"

namespace plug::test {

/// What the dispatcher returns, and the whole answer.
inline std::pair<int, ByteVector> Dispatch(ConstBytes command) {
    ByteVector answer(8192);
    std::size_t length = 9999;
    const int returned = ParserProtoolData(command, answer, length);
    EXPECT_LE(length, answer.size());
    answer.resize(std::min(length, answer.size()));
    return {returned, answer};
}

/// The answer behind its echo, result and payload; empty without one. Parameters begin at byte 10.
inline ByteVector RunCommand(int id, ConstBytes parameters = {}) {
    ByteVector command = {0xAB, 0xCD, static_cast<std::uint8_t>(id), 0, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    command.insert(command.end(), parameters.begin(), parameters.end());
    const auto [returned, answer] = Dispatch(command);
    EXPECT_EQ(0, returned) << id;
    if (answer.empty()) return answer;
    EXPECT_GE(answer.size(), 6U) << id;
    EXPECT_TRUE(std::equal(command.begin(), command.begin() + 4, answer.begin())) << id;
    return {answer.begin() + 4, answer.end()};
}

/// Runs a command that an element which can never be applied holds, and takes the link away; its code.
inline int CodeOfHeld(const std::function<int()>& command) {
    ClearLinkError();
    SetLoggedIn(true);
    std::future<int> code = std::async(std::launch::async, command);
    EXPECT_EQ(std::future_status::timeout, code.wait_for(std::chrono::milliseconds(30)));
    RaiseLinkError();
    return code.get();
}

}  // namespace plug::test
