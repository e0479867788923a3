#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace skylark::bench {

// The console table, then one line per (figure, baseline) pair:
// "ratio FIGURE / BASELINE = R". Both are measured in the same run, so the
// ratio holds on any machine where the absolute times do not. A benchmark
// that also computes a "min" statistic over its repetitions gets the ratio
// of the minima too: on a machine shared with other work, the fastest
// repetition of each is the one least slowed by it.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  explicit RatioReporter(std::vector<std::pair<std::string, std::string>> pairs)
      : pairs_(std::move(pairs)) {}

  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  std::vector<std::pair<std::string, std::string>> pairs_;
  std::map<std::string, double> nanosecondsByName_;
  std::map<std::string, double> mediansByName_;
  std::map<std::string, double> minimaByName_;
};

// Runs every registered benchmark through a RatioReporter.
int runWithRatios(int argc, char** argv, std::vector<std::pair<std::string, std::string>> pairs);

}  // namespace skylark::bench
