// Function commands with whatever parameters, over the simulated router.
#include "commands/diagnostics.h"
#include "commands/dispatcher.h"
#include "fakes/shell.h"
#include "fuzz/surroundings.h"

namespace plug::test {

void Look(ByteReader input) {
    constexpr std::size_t kRoom = 8192;
    constexpr std::uint8_t kMostIds = 90;  // with two that are not known
    std::vector<std::uint8_t> command(10);
    command[2] = static_cast<std::uint8_t>(input.U8() % kMostIds);
    command.insert(command.end(), input.rest().begin(), input.rest().end());
    // What a ping prints: more than the agent keeps of it.
    std::vector<std::uint8_t> output = Exact(input.rest());
    while (!output.empty() && output.size() < kRoom)
        output.insert(output.end(), input.rest().begin(), input.rest().end());
    SetShellOutput(output);

    std::vector<std::uint8_t> answer(kRoom);
    std::size_t length = 0;
    ParserProtoolData(command, answer, length);
    StopDiagnostics();
    Require(length == 0 || (length >= 6 && length <= kRoom));
    if (length > 0) Require(std::equal(command.begin(), command.begin() + 4, answer.begin()));
}

}  // namespace plug::test
