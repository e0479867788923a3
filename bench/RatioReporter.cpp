#include "RatioReporter.h"

#include <cstdio>

namespace skylark::bench {

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const auto& run : runs) {
    if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
      nanosecondsByName_[run.benchmark_name()] = run.GetAdjustedRealTime();
    }
  }
  ConsoleReporter::ReportRuns(runs);
}

void RatioReporter::Finalize() {
  ConsoleReporter::Finalize();
  std::printf("\n");
  for (const auto& [figure, baseline] : pairs_) {
    const auto f = nanosecondsByName_.find(figure);
    const auto b = nanosecondsByName_.find(baseline);
    if (f == nanosecondsByName_.end() || b == nanosecondsByName_.end() || b->second <= 0) continue;
    std::printf("ratio %s / %s = %.2f\n", figure.c_str(), baseline.c_str(), f->second / b->second);
  }
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
