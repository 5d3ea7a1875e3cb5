#include "week/samples.h"

#include <algorithm>
#include <filesystem>

#include "bench/process.h"
#include "bench/text.h"
#include "support/sanitized.h"

namespace plug::week {
namespace {

using bench::Format;

constexpr std::size_t kWarmHours = 12;  // in which every command was carried out for the first time
// Less is the allocator's and the stacks'; a sanitizer keeps what is freed.
constexpr double kGrowthKib = kSanitized ? 1 << 20 : 64;

template <class Number>
std::pair<Number, Number> Range(const std::vector<Sample>& samples, Number Sample::*value) {
    const auto [least, most] = std::ranges::minmax(samples, {}, value);
    return {least.*value, most.*value};
}

}  // namespace

Samples::Samples(const std::string& path) : file_(path) {
    file_ << "hours,process,private_kib,descriptors,threads,link,answered,barred\n";
}

void Samples::Add(const Sample& sample) {
    samples_.push_back(sample);
    file_ << Format("%.2f,%d,%.0f,%d,%d,%d,%d,%d\n", sample.hours, sample.process, sample.private_kib,
                    sample.descriptors, sample.threads, sample.link, sample.answered, sample.barred)
          << std::flush;
}

void Samples::Fill(Sample& sample, int pid) {
    const std::string folder = "/proc/" + std::to_string(pid);
    std::error_code gone;
    sample.private_kib = bench::NumberAfter(folder + "/smaps_rollup", "Private_Dirty:");
    sample.threads = static_cast<int>(bench::NumberAfter(folder + "/status", "Threads:"));
    const std::filesystem::directory_iterator descriptors(folder + "/fd", gone);
    if (!gone) sample.descriptors = static_cast<int>(std::distance(begin(descriptors), end(descriptors)));
}

std::vector<Sample> Samples::OfProcess(int process) const {
    std::vector<Sample> chosen;
    std::ranges::copy_if(samples_, std::back_inserter(chosen), [process](const Sample& sample) {
        return sample.process == process && sample.settled;
    });
    return chosen;
}

std::vector<std::string> Samples::Growth() const {
    std::vector<std::string> growth;
    for (int process = 1; process <= samples_.back().process; ++process) {
        const std::vector<Sample> all = OfProcess(process);
        if (all.size() < 2 * kWarmHours) continue;
        const std::vector<Sample> first(all.begin(), all.begin() + kWarmHours);
        const std::vector<Sample> rest(all.begin() + kWarmHours, all.end());
        const auto compare = [&](const char* what, auto Sample::*value, double room) {
            const double before = Range(first, value).second;
            const double after = Range(rest, value).second;
            if (after > before + room)
                growth.push_back(Format("%s of process %d: %.0f, then %.0f", what, process, before, after));
        };
        compare("private memory (KiB)", &Sample::private_kib, kGrowthKib);
        compare("descriptors", &Sample::descriptors, 0);
        compare("threads", &Sample::threads, 0);
    }
    return growth;
}

std::string Samples::Table() const {
    std::string table =
        "| process | from hour | to hour | private KiB, least to most | descriptors | threads |\n"
        "|---|---|---|---|---|---|\n";
    for (int process = 1; process <= samples_.back().process; ++process) {
        const std::vector<Sample> all = OfProcess(process);
        if (all.empty()) continue;
        const auto memory = Range(all, &Sample::private_kib);
        const auto descriptors = Range(all, &Sample::descriptors);
        const auto threads = Range(all, &Sample::threads);
        table += Format("| %d | %.0f | %.0f | %.0f to %.0f | %d to %d | %d to %d |\n", process,
                        all.front().hours, all.back().hours, memory.first, memory.second, descriptors.first,
                        descriptors.second, threads.first, threads.second);
    }
    return table;
}

}  // namespace plug::week
