// What a trial and the fault library in its agent share: a file that both map, with the order of one fault
// and the places that were seen. A place is a function of the C library (or of OpenSSL or cJSON) and where in
// the agent it is called from: the call and its callers, as offsets in the agent's binary.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace plug::faults {

constexpr char kFileVariable[] = "PLUG_FAULTS";  // path of the file with a FaultFile

constexpr std::size_t kFrames = 4;  // of the agent, the call itself first; 0 behind the last
using Frames = std::array<std::uint32_t, kFrames>;
using FunctionName = std::array<char, 40>;

enum FailureKind : std::uint32_t {
    kUsed = 1,    // there is such a failure
    kDone = 2,    // the deed is done all the same
    kPasses = 4,  // it never lasts, as that by a signal
};
/// One way to fail: what is returned, and with which errno.
struct Failure {
    constexpr Failure() = default;
    constexpr Failure(long returned, int number, std::uint32_t kinds = 0)
        : result(returned), error(number), kind(kinds | kUsed) {}

    long result = 0;
    int error = 0;
    std::uint32_t kind = 0;
};
using Failures = std::array<Failure, 3>;

struct Place {
    FunctionName function{};
    Frames frames{};
    Failures failures{};
    std::uint32_t calls = 0;
};

struct FaultFile {
    static constexpr std::size_t kMostPlaces = 4096;

    // The order, written before the agent starts; no fault without a function.
    FunctionName function{};
    Frames frames{};
    std::uint32_t failure = 0;  // which of the function's
    std::uint32_t from = 1;     // the first call that fails
    std::uint32_t until = 1;    // the last one

    // What happened, written by the agent.
    std::atomic<std::uint32_t> failed{0};
    std::atomic<std::uint32_t> places{0};
    std::array<Place, kMostPlaces> place{};
};

}  // namespace plug::faults
