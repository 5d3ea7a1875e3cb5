// The simulated router's state: one JSON file, read when it has changed, written as a whole.
//
// The parsed tree is kept and trusted while the file's inode, size and time of change stay the same, so an
// idle caller costs one stat per call. All functions need a StateLock held.
#pragma once

#include <cjson/cJSON.h>

#include <optional>

#include "shared_file.h"

namespace simulator {

// What calls return when the simulator itself must refuse.
enum Error : int {
    kOk = 0,
    kBadState = 101,     // the state file is malformed, unreadable or holds a value that does not fit
    kNotSaved = 102,     // the state file could not be written
    kUnknown = 103,      // no such device, WAN, LAN port, SSID or module in the file
    kBadArgument = 104,  // a text longer than its field
};

// One call's hold on the state: against other threads, and for writers against other processes too.
class StateLock {
  public:
    explicit StateLock(bool writing);
    ~StateLock();
    StateLock(const StateLock&) = delete;
    StateLock& operator=(const StateLock&) = delete;
    // False for a writer that other processes may get in the way of; errno then says why.
    bool held() const { return !file_lock_ || file_lock_->held(); }

  private:
    std::optional<WriteLock> file_lock_;
};

// The tree as the file has it now, or nullptr. A missing file is created with the default home.
cJSON* LoadState();

// Writes the tree to the file at once or not at all; 0 or kNotSaved.
int SaveState();

// Forgets changes made to the tree.
void DropState();

// One line on standard error, the first time only for each version of the file.
[[gnu::format(printf, 1, 2)]] void Complain(const char* format, ...);

}  // namespace simulator
