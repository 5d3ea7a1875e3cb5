// One session of the real agent with the bench, during which one call of it fails, and what came of it.
#pragma once

#include <string>
#include <vector>

#include "faults/fault_file.h"

namespace plug::faults {

enum class Script : std::uint8_t {
    kService,  // registration, commands of each kind, the local peer, a lost link; all twice, then TERM
    kUpdate,   // an update that goes well, which ends the agent
};

struct Fault {
    Script script = Script::kService;
    std::string function;  // empty: nothing fails
    Frames frames{};
    std::uint32_t failure = 0;  // which of the function's
    std::uint32_t call = 1;     // the first call that fails
    bool lasting = false;       // and every other until the second round
};

/// What an agent has open in the middle of its service.
struct Holdings {
    int descriptors = 0;
    int threads = 0;
};

enum class Ending : std::uint8_t {
    kAnswered,  // everything works in the end; what failed meanwhile said so, or was not answered
    kEnded,     // the agent ended itself as it is documented
    kUnseen,    // the place was not reached
    kBad,
};

struct Result {
    Ending ending = Ending::kBad;
    std::string note;  // why it is bad, or what failed on the way
    std::string log;   // the agent's
    Holdings holdings;
    std::vector<Place> places;
};

/// Runs one; in the sandbox of the caller, which ends with its process. `usual` is what a session without a
/// fault holds; zeros when that is not known yet.
Result RunSession(const Fault& fault, const Holdings& usual);

}  // namespace plug::faults
