#include "RatioReporter.h"

#include <cstdio>

namespace skylark::bench {

// With repetitions, a figure is the median of its runs: the machine's noise
// then moves both sides of a ratio alike (interleave the runs for that).
void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const auto& run : runs) {
    if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
      nanosecondsByName_[run.run_name.str()] = run.GetAdjustedRealTime();
    } else if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
      mediansByName_[run.run_name.str()] = run.GetAdjustedRealTime();
    } else if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "min") {
      minimaByName_[run.run_name.str()] = run.GetAdjustedRealTime();
    }
  }
  ConsoleReporter::ReportRuns(runs);
}

void RatioReporter::Finalize() {
  ConsoleReporter::Finalize();
  std::printf("\n");
  const bool medians = !mediansByName_.empty();
  const auto& figures = medians ? mediansByName_ : nanosecondsByName_;
  const auto print = [&](const std::map<std::string, double>& values, const char* kind) {
    for (const auto& [figure, baseline] : pairs_) {
      const auto f = values.find(figure);
      const auto b = values.find(baseline);
      if (f == values.end() || b == values.end() || b->second <= 0) continue;
      std::printf("ratio %s / %s = %.2f%s\n", figure.c_str(), baseline.c_str(),
                  f->second / b->second, kind);
    }
  };
  print(figures, medians ? " (medians)" : "");
  print(minimaByName_, " (minima)");
  std::fflush(stdout);
}

int runWithRatios(int argc, char** argv, std::vector<std::pair<std::string, std::string>> pairs) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter(std::move(pairs));
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

}  // namespace skylark::bench
