// The time questions a player asks several times a second, on timelines of
// 10, 100 and 1000 breaks of four 15 s ads each, 60 s of content apart.
// Baselines: the same question on the 10-break timeline (the cost must not
// grow with the number of breaks) and the plain walk over the breaks.

#include <memory>
#include <vector>

#include "RatioReporter.h"
#include "support/TimelineFixtures.h"
#include "timeline/TimelineWalks.h"

namespace skylark {
namespace {

std::shared_ptr<SKYLVelaTimeline> timelineWithBreaks(int count) {
  std::vector<test::BreakSpec> breaks;
  double at = 0;
  for (int i = 0; i < count; ++i) {
    breaks.push_back({at, {15, 15, 15, 15}});
    at += 60 + 60;
  }
  return test::makeTimeline(at + 60, breaks);
}

// 1024 times spread over the whole stream (or content), visited in a
// scattered order so no answer is simply the previous one.
std::vector<MediaTime> probes(const MediaTime& length) {
  std::vector<MediaTime> out;
  for (int i = 0; i < 1024; ++i) {
    const int slot = (i * 389) % 1024;
    out.push_back(multiplyByFloat64(length, slot / 1024.0));
  }
  return out;
}

void BM_ContentTimeAtAbsoluteTime(benchmark::State& state) {
  const auto timeline = timelineWithBreaks(static_cast<int>(state.range(0)));
  const auto times = probes(timeline->payloadLength());
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(timeline->contentTimeAtAbsoluteTime(times[i++ & 1023]));
  }
}

void BM_AbsoluteTimeAtContentTime(benchmark::State& state) {
  const auto timeline = timelineWithBreaks(static_cast<int>(state.range(0)));
  const auto times = probes(timeline->contentLength());
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(timeline->absoluteTimeAtContentTime(times[i++ & 1023]));
  }
}

void BM_PathAtTime(benchmark::State& state) {
  const auto timeline = timelineWithBreaks(static_cast<int>(state.range(0)));
  const auto times = probes(timeline->payloadLength());
  size_t i = 0;
  for (auto _ : state) {
    const auto path = timeline->pathAtTime(times[i++ & 1023]);
    benchmark::DoNotOptimize(path->logicalTime());
  }
}

void BM_ContentTimeByWalk(benchmark::State& state) {
  const auto timeline = timelineWithBreaks(static_cast<int>(state.range(0)));
  const auto times = probes(timeline->payloadLength());
  size_t i = 0;
  for (auto _ : state) {
    const auto segments =
        timeline_walks::contentSegments(*timeline->adSequences(), timeline->payloadLength());
    benchmark::DoNotOptimize(timeline_walks::contentTimeAt(segments, times[i++ & 1023]));
  }
}

void BM_PathByWalk(benchmark::State& state) {
  const auto timeline = timelineWithBreaks(static_cast<int>(state.range(0)));
  const auto times = probes(timeline->payloadLength());
  size_t i = 0;
  for (auto _ : state) {
    const auto& t = times[i++ & 1023];
    const auto sequences = timeline->adSequences();
    benchmark::DoNotOptimize(timeline_walks::locate(*sequences, t));
    benchmark::DoNotOptimize(t - timeline_walks::adTimeEndedBy(*sequences, t));
  }
}

BENCHMARK(BM_ContentTimeAtAbsoluteTime)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(BM_AbsoluteTimeAtContentTime)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(BM_PathAtTime)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(BM_ContentTimeByWalk)->Arg(10)->Arg(1000);
BENCHMARK(BM_PathByWalk)->Arg(10)->Arg(1000);

}  // namespace
}  // namespace skylark

int main(int argc, char** argv) {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const char* name :
       {"BM_ContentTimeAtAbsoluteTime", "BM_AbsoluteTimeAtContentTime", "BM_PathAtTime"}) {
    const std::string n(name);
    pairs.emplace_back(n + "/100", n + "/10");
    pairs.emplace_back(n + "/1000", n + "/10");
  }
  pairs.emplace_back("BM_ContentTimeByWalk/1000", "BM_ContentTimeAtAbsoluteTime/1000");
  pairs.emplace_back("BM_PathByWalk/1000", "BM_PathAtTime/1000");
  return skylark::bench::runWithRatios(argc, argv, pairs);
}
