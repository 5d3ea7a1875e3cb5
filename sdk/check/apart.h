// Calls of the maker's library in child processes. Nothing of the library runs in the checker itself: a child
// loads it anew for each call, so that one that crashes, hangs or ends the process costs that call only.
//
// What a call writes goes to a Room, memory that the child shares with the checker. Directly behind the bytes
// that a call may write begins a guard, which nobody can touch.
#pragma once

#include <string>
#include <vector>

#include "functions.h"

namespace sdk_check {

/// What buffers hold before a call that shall show which bytes it writes.
constexpr std::uint8_t kFill = 0x5A;

enum class End : std::uint8_t {
    kReturned,
    kUnloadable,  // the library could not be loaded; `said` has the loader's words
    kMissing,     // the library has no such function
    kSignal,      // `code` is the signal's number
    kExited,      // the library ended the process; `code` is the status
    kHung,
};

/// How a child's call ended, and what is in its buffers then.
struct Outcome {
    End end = End::kReturned;
    int code = 0;
    std::string said;      // the loader's words; of a signal " at 0x.." where the fault was
    std::string beyond;    // the buffer whose guard was touched: "output", "second output" or "input"
    std::size_t past = 0;  // how far behind that buffer's end
    bool before = false;   // something was written in front of a buffer

    int result = 0;  // of the call with cleared buffers, which is how the agent calls
    std::vector<std::uint8_t> out;
    std::vector<std::uint8_t> first;  // what the call with full buffers left of the output
    std::vector<std::uint8_t> second;

    /// The count that a list call stored.
    int Count() const {
        int count = 0;
        memcpy(&count, second.data(), sizeof count);
        return count;
    }
};

/// What is to be called: the pointers in the arguments for out, second and in are filled in here.
struct Call {
    const Function& function;
    Arguments arguments{};
    std::size_t out_size = 0;
    std::size_t second_size = 0;
    Bytes in{};
};

class Library {
  public:
    /// A path, or a name that the loader looks up. A child that takes longer than `seconds` is ended.
    Library(const char* path, int seconds);

    int seconds() const { return seconds_; }

    /// Loads the library and looks for all functions. kReturned: `missing` has the names of those it lacks
    /// and `file` where it was found.
    Outcome Survey(std::vector<const char*>& missing, std::string& file) const;

    /// Calls a getter twice: with its buffers full of kFill, then cleared. A setter is called once.
    Outcome Run(const Call& call) const;

  private:
    const char* const path_;
    const int seconds_;
};

}  // namespace sdk_check
