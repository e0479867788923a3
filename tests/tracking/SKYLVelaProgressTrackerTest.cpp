#include "tracking/SKYLVelaProgressTracker.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "support/TimelineFixtures.h"

namespace skylark {
namespace {

using test::seconds;
using Events = std::vector<std::string>;

// Records every event as "Type[ adId][ @progress][ skipped]" and returns
// those of each step.
class Recorder {
 public:
  explicit Recorder(SKYLVelaProgressTracker& tracker) : tracker_(tracker) {
    tracker.event().addObserver([this](const auto& event) { record(event); }, false);
  }
  Events at(double t) {
    tracker_.setAbsoluteTime(seconds(t));
    return take();
  }
  Events take() { return std::exchange(events_, {}); }

 private:
  void record(const SKYLVelaProgressTracker::Event& event) {
    std::string line(event->trackerType());
    if (const auto& p = event->properties()) {
      if (p->ad) line += " " + p->ad->adId();
      if (p->adProgress) line += fmt::format(" @{:.2f}", p->adProgress->seconds());
      if (p->skippedAd.value_or(false)) line += " skipped";
    }
    events_.push_back(line);
  }
  SKYLVelaProgressTracker& tracker_;
  Events events_;
};

// Break 0: ads "0-0" [20, 30) and "0-1" [30, 35); break 1: "1-0" [65, 80).
std::shared_ptr<SKYLVelaTimeline> timeline() {
  return test::makeTimeline(130, {{20, {10, 5}}, {65, {15}}});
}

TEST(SKYLVelaProgressTrackerTest, PlayingThroughBreaks) {
  SKYLVelaProgressTracker tracker(timeline());
  tracker.setPlaybackRate(1);
  Recorder events(tracker);
  EXPECT_EQ(events.at(19.75), Events{});
  EXPECT_EQ(tracker.contentTime().get(), seconds(19.75));
  EXPECT_EQ(events.at(20), (Events{"EnterAdSequence", "EnterAd 0-0", "AdProgress 0-0 @0.00"}));
  EXPECT_EQ(events.at(29.75), (Events{"AdProgress 0-0 @9.75"}));
  EXPECT_EQ(events.at(30), (Events{"ExitAd 0-0", "EnterAd 0-1", "AdProgress 0-1 @0.00"}));
  EXPECT_EQ(tracker.contentTime().get(), seconds(19.75));  // frozen inside ads
  EXPECT_EQ(events.at(35), (Events{"ExitAd 0-1", "ExitAdSequence"}));
  EXPECT_EQ(tracker.contentTime().get(), seconds(20));  // the break's end maps to its position
  EXPECT_EQ(events.at(70), (Events{"EnterAdSequence", "EnterAd 1-0", "AdProgress 1-0 @5.00"}));
}

// An application may seek from an ad-start callback: the time it sets is
// taken in once the update under way has announced everything it found.
TEST(SKYLVelaProgressTrackerTest, ATimeSetFromInsideAnUpdateFollowsIt) {
  SKYLVelaProgressTracker tracker(timeline());
  tracker.setPlaybackRate(1);
  tracker.event().addObserver(
      [&](const SKYLVelaProgressTracker::Event& event) {
        if (event->type() == SKYLVelaProgressTrackerEvent::EnterAd &&
            event->properties()->ad->adId() == "0-0") {
          tracker.setAbsoluteTime(seconds(30));
        }
      },
      false);
  Recorder events(tracker);
  EXPECT_EQ(events.at(19.75), Events{});
  EXPECT_EQ(events.at(20), (Events{"EnterAdSequence", "EnterAd 0-0", "AdProgress 0-0 @0.00",
                                   "ExitAd 0-0", "EnterAd 0-1", "AdProgress 0-1 @0.00"}));
  EXPECT_EQ(tracker.absoluteTime(), seconds(30));
}

TEST(SKYLVelaProgressTrackerTest, JumpFromAnAdOfOneBreakIntoAnother) {
  SKYLVelaProgressTracker tracker(timeline());
  tracker.setPlaybackRate(1);
  Recorder events(tracker);
  (void)events.at(10);
  (void)events.at(25);
  EXPECT_EQ(events.at(70), (Events{"ExitAd 0-0", "ExitAdSequence", "EnterAdSequence", "EnterAd 1-0",
                                   "AdProgress 1-0 @5.00"}));
}

TEST(SKYLVelaProgressTrackerTest, BackwardJitterFilter) {
  struct Case {
    double from, to;
    bool processed;
  };
  // From content at 84 s back into the ad ending at 80 s; and within an ad.
  const Case cases[] = {{84, 79.1, false}, {84, 79.0, true}, {70, 69.5, false}};
  for (const auto& c : cases) {
    SKYLVelaProgressTracker tracker(timeline());
    tracker.setPlaybackRate(1);
    Recorder events(tracker);
    (void)events.at(60);
    (void)events.at(c.from);
    const MediaTime before = tracker.previousPosition()->absoluteTime;
    const Events step = events.at(c.to);
    EXPECT_EQ(!step.empty(), c.processed) << c.from << " -> " << c.to;
    EXPECT_EQ(tracker.previousPosition()->absoluteTime != before, c.processed)
        << c.from << " -> " << c.to;
  }
}

TEST(SKYLVelaProgressTrackerTest, RewindingCrossesBreaksWithoutAdEvents) {
  SKYLVelaProgressTracker tracker(timeline());
  tracker.setPlaybackRate(1);
  Recorder events(tracker);
  (void)events.at(40);
  tracker.setPlaybackRate(-2);
  EXPECT_EQ(events.at(34), Events{"EnterAdSequenceWhileRewinding"});
  EXPECT_EQ(events.at(25), Events{});
  EXPECT_EQ(events.at(19), Events{"ExitAdSequenceWhileRewinding"});
  EXPECT_EQ(tracker.contentTime().get(), seconds(19));
}

TEST(SKYLVelaProgressTrackerTest, StartSkipAnnouncesThePreRoll) {
  SKYLVelaProgressTracker tracker(test::makeTimeline(130, {{0, {10}}, {65, {15}}}));
  Recorder events(tracker);
  tracker.forceAbsoluteTime(MediaTime::negativeInfinity());
  (void)events.take();
  tracker.setPlaybackRate(2);
  EXPECT_EQ(events.at(70), (Events{"EnterAdSequence", "EnterAd 0-0", "AdProgress 1-0 @5.00"}));
}

TEST(SKYLVelaProgressTrackerTest, SkipSuspendForceAndResume) {
  SKYLVelaProgressTracker tracker(timeline());
  tracker.setPlaybackRate(1);
  Recorder events(tracker);
  (void)events.at(22);
  tracker.setDidSkipAd(true);
  EXPECT_EQ(events.at(30), (Events{"ExitAd 0-0 skipped", "EnterAd 0-1", "AdProgress 0-1 @0.00"}));
  EXPECT_FALSE(tracker.didSkipAd());

  tracker.setSuspendProgress(true);
  EXPECT_EQ(events.at(70), Events{});
  tracker.setSuspendProgress(false);

  tracker.forceAbsoluteTime(seconds(72));
  EXPECT_EQ(events.take(), Events{"AdProgress 1-0 @7.00"});

  tracker.didResumeVideoDuringAdBreak();
  EXPECT_EQ(events.take(), (Events{"ExitAd 1-0", "ExitAdSequence"}));
  EXPECT_FALSE(tracker.previousPosition());
  tracker.didResumeVideoDuringAdBreak();  // no longer after an AdProgress
  EXPECT_EQ(events.take(), Events{});
}

TEST(SKYLVelaProgressTrackerTest, RangeConversion) {
  SKYLVelaProgressTracker tracker(timeline());
  using Ranges = SKYLVelaProgressTracker::Ranges;
  int assignments = 0;
  tracker.contentSeekableTimeRanges().addObserver([&](const Ranges&) { ++assignments; }, false);
  tracker.setAbsoluteSeekableTimeRanges(std::nullopt);
  EXPECT_FALSE(tracker.contentSeekableTimeRanges().get());
  EXPECT_EQ(assignments, 0);  // already nil
  tracker.setAbsoluteSeekableTimeRanges(std::vector<MediaTimeRange>{});
  tracker.setAbsoluteSeekableTimeRanges(std::vector<MediaTimeRange>{});
  EXPECT_EQ(assignments, 1);
  EXPECT_TRUE(tracker.contentSeekableTimeRanges().get()->empty());
  tracker.setAbsoluteSeekableTimeRanges(
      std::vector<MediaTimeRange>{MediaTimeRange::make(seconds(0), seconds(100)),
                                  MediaTimeRange::make(seconds(5), seconds(25))});
  const std::vector<MediaTimeRange> expected = {MediaTimeRange::make(seconds(0), seconds(70)),
                                                MediaTimeRange::make(seconds(0), seconds(20))};
  EXPECT_EQ(*tracker.contentSeekableTimeRanges().get(), expected);
  tracker.setAbsoluteLoadedTimeRanges(
      std::vector<MediaTimeRange>{MediaTimeRange::make(seconds(0), seconds(130))});
  EXPECT_EQ(tracker.contentLoadedTimeRanges().get()->front().duration, seconds(100));
}

}  // namespace
}  // namespace skylark
