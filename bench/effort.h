// What a process holds and has done so far, of all its threads, as /proc tells.
#pragma once

#include <sys/types.h>

namespace plug::bench {

struct Effort {
    double wake_ups = 0;  // context switches of all threads, voluntary and not
    double cpu_seconds = 0;
    int threads = 0;
};
/// Throws std::filesystem::filesystem_error when there is no such process.
Effort EffortSoFar(pid_t process);

struct Holdings {
    double private_dirty_kib = 0;
    double private_kib = 0;  // dirty and clean
    double resident_kib = 0;
    int descriptors = 0;
};
Holdings HoldingsOf(pid_t process);

}  // namespace plug::bench
