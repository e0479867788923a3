// One progress update (set the absolute time; events and beacons go to a
// transport that sends nothing) while playing through timelines of 10 and
// 1000 breaks of four 15 s ads, 60 s of content apart. The player calls
// this several times a second, so the 1000-break figure must stay close
// to the 10-break one (the baseline, same run).
#include <memory>

#include "RatioReporter.h"
#include "support/TimelineFixtures.h"
#include "timeline/SKYLVelaTrackingEventsCollectionBuilder.h"
#include "tracking/SKYLVelaAnalyticsSession.h"

namespace skylark {
namespace {

class NoTransport final : public BeaconTransport {
 public:
  using BeaconTransport::send;
  void send(const URL&, Delivered) override {}
};

// Breaks of four ads, each with a dozen beacons at offsets.
std::shared_ptr<SKYLVelaTimeline> timelineWithBreaks(int count) {
  SKYLVelaTrackingEventsCollectionBuilder events;
  const char* names[] = {"start",    "firstQuartile", "midpoint", "thirdQuartile",
                         "progress", "progress",      "progress", "progress"};
  for (int i = 0; i < 8; ++i) {
    events.addTrackingEventNamed(names[i], std::to_string(i * 2),
                                 URL::parse("https://t.example.com/e" + std::to_string(i)));
  }
  events.addTrackingEventNamed("complete", "15", URL::parse("https://t.example.com/complete"));
  events.addTrackingEventNamed("breakEnd", "15", URL::parse("https://t.example.com/breakEnd"));
  events.addTrackingEventNamed("creativeView", URL::parse("https://t.example.com/view"));
  const auto collection = events.buildTrackingEventsCollection();

  SKYLVelaTimeline::Sequences sequences;
  double at = 60;
  double adTime = 0;
  for (int b = 0; b < count; ++b) {
    SKYLVelaAdSequence::Ads ads;
    for (int a = 0; a < 4; ++a) {
      SKYLVelaAdBuilder builder;
      builder.adId = std::to_string(b) + "-" + std::to_string(a);
      builder.beginTime = test::seconds(at + a * 15);
      builder.duration = test::seconds(15);
      builder.logicalOffset = test::seconds(at - adTime);
      builder.trackingEventsCollection = collection;
      builder.impressionURLs = {*URL::parse("https://t.example.com/imp")};
      ads.push_back(builder.buildAd());
    }
    sequences.push_back(std::make_shared<SKYLVelaAdSequence>(std::move(ads)));
    at += 60 + 60;
    adTime += 60;
  }
  return SKYLVelaTimeline::create(URL::parse("https://cdn.example.com/s.m3u8"),
                                  test::seconds(at - adTime), test::seconds(at),
                                  std::move(sequences), {}, false);
}

void BM_TrackerUpdate(benchmark::State& state) {
  const auto timeline = timelineWithBreaks(static_cast<int>(state.range(0)));
  SKYLVelaProgressTracker tracker(timeline);
  tracker.setPlaybackRate(1);
  NotificationCenter center;
  SKYLVelaAnalyticsSession analytics(tracker, std::make_shared<SKYLVelaAnalyticsDigester>(
                                                  std::make_shared<NoTransport>(), center));
  analytics.observeTracker();
  const int64_t end = timeline->payloadLength().value;  // at timescale 600
  int64_t playhead = 0;
  for (auto _ : state) {
    playhead += 150;  // 0.25 s
    if (playhead >= end) playhead = 0;
    tracker.setAbsoluteTime(MediaTime::make(playhead, 600));
  }
}

BENCHMARK(BM_TrackerUpdate)->Arg(10)->Arg(1000);

}  // namespace
}  // namespace skylark

int main(int argc, char** argv) {
  return skylark::bench::runWithRatios(argc, argv,
                                       {{"BM_TrackerUpdate/1000", "BM_TrackerUpdate/10"}});
}
