#include "bench/effort.h"

#include <filesystem>

#include "bench/process.h"

namespace plug::bench {

Effort EffortSoFar(pid_t process) {
    Effort effort;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        const std::string folder = task.path();
        effort.wake_ups += NumberAfter(folder + "/status", "voluntary_ctxt_switches:");
        effort.wake_ups += NumberAfter(folder + "/status", "nonvoluntary_ctxt_switches:");
        effort.cpu_seconds += NumberAfter(folder + "/schedstat", "") / 1e9;
        ++effort.threads;
    }
    return effort;
}

Holdings HoldingsOf(pid_t process) {
    const std::string folder = "/proc/" + std::to_string(process);
    const std::string memory = folder + "/smaps_rollup";
    Holdings holdings;
    holdings.private_dirty_kib = NumberAfter(memory, "Private_Dirty:");
    holdings.private_kib = holdings.private_dirty_kib + NumberAfter(memory, "Private_Clean:");
    holdings.resident_kib = NumberAfter(memory, "Rss:");
    const std::filesystem::directory_iterator entries(folder + "/fd");
    holdings.descriptors = static_cast<int>(std::distance(begin(entries), end(entries)));
    return holdings;
}

}  // namespace plug::bench
