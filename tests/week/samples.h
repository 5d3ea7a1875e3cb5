// What the agent holds, hour by hour: to a file, and whether it grows.
#pragma once

#include <fstream>
#include <string>
#include <vector>

namespace plug::week {

struct Sample {
    double hours = 0;  // since the start
    int process = 0;   // the agent's, counted from 1
    double private_kib = 0;
    int descriptors = 0;
    int threads = 0;
    bool link = false;
    int answered = 0;
    int barred = 0;
    bool settled = false;  // link and local peer have stood for a while
};

class Samples {
  public:
    /// Begins the file, of comma-separated values.
    explicit Samples(const std::string& path);
    void Add(const Sample& sample);
    /// Reads what a process holds into the sample.
    static void Fill(Sample& sample, int pid);

    /// What grew in a process between its first settled hours and its last ones, a line each.
    std::vector<std::string> Growth() const;
    /// A line a process: its hours, and what it held.
    std::string Table() const;

  private:
    std::vector<Sample> OfProcess(int process) const;

    std::ofstream file_;
    std::vector<Sample> samples_;
};

}  // namespace plug::week
