#include "support/command.h"

#include "commands/dispatcher.h"

namespace plug::test {

ByteVector RunCommand(std::uint8_t id, ConstBytes parameters) {
    ByteVector command = {0xAB, 0xCD, id, 0, 0, 0, 0, 0, 0, 0};
    command.insert(command.end(), parameters.begin(), parameters.end());
    ByteVector answer(8192);
    std::size_t length = 0;
    EXPECT_EQ(0, ParserProtoolData(command, answer, length));
    EXPECT_EQ((ByteVector{0xAB, 0xCD, id, 0}), ByteVector(answer.begin(), answer.begin() + 4));
    return {answer.begin() + 4, answer.begin() + static_cast<std::ptrdiff_t>(length)};
}

}  // namespace plug::test
