// The live timeline's two hot paths: merging a 50-avail tracking answer
// (each poll, every 5 s) and finding the entry at the playhead date (every
// playhead update). The lookup on 1000 entries is compared with the lookup
// on 10 in the same run: it must not grow with the timeline.
#include <fmt/format.h>

#include "RatioReporter.h"
#include "live2/SKYLSSAILive2Timeline.h"

namespace skylark {
namespace {

constexpr int64_t kStartMs = 1714557600000;  // 2024-05-01T10:00:00Z

std::string isoDate(int64_t millis) {
  const std::time_t seconds = millis / 1000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", utc.tm_year + 1900,
                     utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                     millis % 1000);
}

// Avails of two 15 s dated ads each, one avail a minute.
SKYLSSAILive2TrackingResponse answerWithAvails(int count) {
  SKYLSSAILive2TrackingResponse response;
  for (int a = 0; a < count; ++a) {
    SKYLSSAILive2Avail avail;
    avail.availId = "avail-" + std::to_string(a);
    avail.startTimeInSeconds = a * 60.0;
    avail.durationInSeconds = 30;
    for (int i = 0; i < 2; ++i) {
      SKYLSSAILive2Ad ad;
      ad.adId = avail.availId + "-ad-" + std::to_string(i);
      ad.startTimeInSeconds = a * 60.0 + i * 15;
      ad.durationInSeconds = 15;
      ad.adProgramDateTime = isoDate(kStartMs + static_cast<int64_t>(ad.startTimeInSeconds * 1000));
      SKYLSSAILive2TrackingEvent impression;
      impression.eventType = "impression";
      impression.beaconUrls = {"https://beacon.example.com/" + ad.adId};
      ad.trackingEvents = {impression};
      avail.ads.push_back(std::move(ad));
    }
    response.avails.push_back(std::move(avail));
  }
  return response;
}

void BM_Merge50Avails(benchmark::State& state) {
  const auto answer = answerWithAvails(50);
  for (auto _ : state) {
    SKYLSSAILive2Timeline timeline;
    benchmark::DoNotOptimize(timeline.merge(answer));
  }
}

void BM_EntryAt(benchmark::State& state) {
  const int entries = static_cast<int>(state.range(0));
  SKYLSSAILive2Timeline timeline;
  (void)timeline.merge(answerWithAvails(entries / 2));
  const int64_t span = static_cast<int64_t>(entries / 2) * 60'000;
  int64_t probe = 0;
  for (auto _ : state) {
    probe = (probe + 7'919) % span;
    benchmark::DoNotOptimize(
        timeline.entry(SystemTime(std::chrono::milliseconds(kStartMs + probe))));
  }
}

BENCHMARK(BM_Merge50Avails)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EntryAt)->Arg(10)->Arg(1000);

}  // namespace
}  // namespace skylark

int main(int argc, char** argv) {
  return skylark::bench::runWithRatios(argc, argv, {{"BM_EntryAt/1000", "BM_EntryAt/10"}});
}
