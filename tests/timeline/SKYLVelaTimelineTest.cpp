#include "timeline/SKYLVelaTimeline.h"

#include <gtest/gtest.h>

#include "host/SKYLHostLog.h"
#include "support/LogCapture.h"
#include "support/TimelineFixtures.h"

namespace skylark {
namespace {

using test::BreakSpec;
using test::makeTimeline;
using test::seconds;

constexpr double kInvalid = -1;

// The stream of 130 s with a 15 s pre-roll and a 15 s break at 65 s.
std::shared_ptr<SKYLVelaTimeline> twoBreakTimeline() {
  return makeTimeline(130, {{0, {15}}, {65, {15}}});
}

// A pre-roll of two ads, two back-to-back mid-rolls and a post-roll.
std::shared_ptr<SKYLVelaTimeline> fullTimeline() {
  return makeTimeline(120, {{0, {5, 5}}, {40, {10}}, {50, {10}}, {110, {10}}});
}

void expectTime(const MediaTime& actual, double expected, const std::string& context) {
  if (expected == kInvalid) {
    EXPECT_FALSE(actual.isValid()) << context << " gave " << actual.description();
  } else {
    EXPECT_EQ(actual, seconds(expected)) << context << " gave " << actual.description();
  }
}

struct Mapping {
  double from;
  double to;
};

void expectContentTimes(const SKYLVelaTimeline& timeline, std::initializer_list<Mapping> cases) {
  for (const auto& c : cases) {
    expectTime(timeline.contentTimeAtAbsoluteTime(seconds(c.from)), c.to,
               "content at absolute " + std::to_string(c.from));
  }
}

void expectAbsoluteTimes(const SKYLVelaTimeline& timeline, std::initializer_list<Mapping> cases) {
  for (const auto& c : cases) {
    expectTime(timeline.absoluteTimeAtContentTime(seconds(c.from)), c.to,
               "absolute at content " + std::to_string(c.from));
  }
}

TEST(SKYLVelaTimelineTest, ContentSegments) {
  const std::vector<SKYLVelaContentSegment> twoBreaks = {{seconds(15), seconds(50)},
                                                         {seconds(80), seconds(50)}};
  EXPECT_EQ(twoBreakTimeline()->contentSegments(), twoBreaks);

  // Back-to-back breaks leave a zero-length segment; the post-roll ends the stream.
  const std::vector<SKYLVelaContentSegment> full = {
      {seconds(10), seconds(30)}, {seconds(50), seconds(0)}, {seconds(60), seconds(50)}};
  EXPECT_EQ(fullTimeline()->contentSegments(), full);

  const std::vector<SKYLVelaContentSegment> leading = {{seconds(0), seconds(20)},
                                                       {seconds(30), seconds(70)}};
  EXPECT_EQ(makeTimeline(100, {{20, {10}}})->contentSegments(), leading);
  const std::vector<SKYLVelaContentSegment> none = {{seconds(0), seconds(100)}};
  EXPECT_EQ(makeTimeline(100, {})->contentSegments(), none);
}

TEST(SKYLVelaTimelineTest, TimeConversions_TwoBreaks) {
  const auto timeline = twoBreakTimeline();
  expectAbsoluteTimes(*timeline,
                      {{0, 15}, {25, 40}, {50, 80}, {99.5, 129.5}, {100, 130}, {101, kInvalid}});
  expectContentTimes(*timeline, {{0, 0},
                                 {10, 0},
                                 {15, 0},
                                 {40, 25},
                                 {65, 50},
                                 {70, 50},
                                 {80, 50},
                                 {129, 99},
                                 {130, 100},
                                 {200, 100}});
}

TEST(SKYLVelaTimelineTest, TimeConversions_PreMidBackToBackAndPostRolls) {
  const auto timeline = fullTimeline();
  expectContentTimes(*timeline, {{5, 0},
                                 {10, 0},
                                 {25, 15},
                                 {40, 30},
                                 {45, 30},
                                 {50, 30},
                                 {55, 30},
                                 {60, 30},
                                 {85, 55},
                                 {110, 80},
                                 {115, 80},
                                 {130, 80}});
  expectAbsoluteTimes(*timeline,
                      {{0, 10}, {29.5, 39.5}, {30, 60}, {79, 109}, {80, 120}, {81, kInvalid}});
}

TEST(SKYLVelaTimelineTest, TimeConversions_NoBreaksAndEmptyStream) {
  const auto plain = makeTimeline(100, {});
  expectContentTimes(*plain, {{0, 0}, {50, 50}, {100, 100}, {150, 100}});
  expectAbsoluteTimes(*plain, {{0, 0}, {50, 50}, {100, 100}, {100.5, kInvalid}});

  const auto empty = makeTimeline(0, {});
  expectContentTimes(*empty, {{0, 0}, {5, kInvalid}});

  const auto live = makeTimeline(100, {{0, {15}}}, /*live=*/true);
  expectContentTimes(*live, {{10, 10}, {500, 500}});
  expectAbsoluteTimes(*live, {{10, 10}, {500, 500}});
}

TEST(SKYLVelaTimelineTest, PathAtTime_FindsBreakAndAd) {
  const auto timeline = fullTimeline();
  const auto breaks = timeline->adSequences();
  struct Case {
    double t;
    int breakIndex;  // -1: none
    int adIndex;     // -1: none
  };
  const Case cases[] = {{0, 0, 0},   {4.99, 0, 0},  {5, 0, 1},     {10, -1, -1},
                        {40, 1, 0},  {49.9, 1, 0},  {50, 2, 0},    {60, -1, -1},
                        {110, 3, 0}, {119.9, 3, 0}, {120, -1, -1}, {-1, -1, -1}};
  for (const auto& c : cases) {
    const auto path = timeline->pathAtTime(seconds(c.t));
    ASSERT_TRUE(path);
    EXPECT_EQ(path->absoluteTime(), seconds(c.t));
    if (c.breakIndex < 0) {
      EXPECT_FALSE(path->adSequence()) << c.t;
      EXPECT_FALSE(path->ad()) << c.t;
      continue;
    }
    EXPECT_EQ(path->adSequence(), (*breaks)[c.breakIndex]) << c.t;
    EXPECT_EQ(path->ad(), (*breaks)[c.breakIndex]->ads()[c.adIndex]) << c.t;
  }
  EXPECT_FALSE(timeline->pathAtTime(MediaTime::invalid())->adSequence());
}

TEST(SKYLVelaTimelineTest, PathLogicalTime_AgreesWithContentTimeAtEveryBreakEnd) {
  for (const auto& timeline : {twoBreakTimeline(), fullTimeline()}) {
    for (const auto& sequence : *timeline->adSequences()) {
      const MediaTime end = sequence->endTime();
      const auto path = timeline->pathAtTime(end);
      if (path->ad()) continue;  // the next break starts right here
      EXPECT_EQ(path->logicalTime(), timeline->contentTimeAtAbsoluteTime(end)) << end.description();
    }
  }
  // Inside an ad the logical time is the time into the ad.
  EXPECT_EQ(fullTimeline()->pathAtTime(seconds(7))->logicalTime(), seconds(2));
  EXPECT_EQ(fullTimeline()->pathAtTime(seconds(85))->logicalTime(), seconds(55));
}

TEST(SKYLVelaTimelineTest, PathAtTimeForLiveSSAI_UsesTheBreaksAdIndex) {
  const auto timeline = makeTimeline(100, {{0, {10, 10, 10}}}, /*live=*/true);
  const auto sequence = timeline->adSequences()->front();
  const auto ads = sequence->ads();
  struct Case {
    int64_t index;
    std::shared_ptr<const SKYLVelaAd> expected;
  };
  const Case cases[] = {{0, ads[0]}, {2, ads[2]}, {3, nullptr}, {-1, nullptr}};
  for (const auto& c : cases) {
    SKYLVelaAdSequence::LiveOptions live;
    live.timingDataAdIndex = c.index;
    const auto indexed = std::make_shared<SKYLVelaAdSequence>(ads, live);
    const auto withIndex = SKYLVelaTimeline::create(std::nullopt, seconds(70), seconds(100),
                                                    {indexed}, {}, /*isLiveSSAI=*/true);
    const auto path = withIndex->pathAtTimeForLiveSSAI(seconds(25));
    EXPECT_EQ(path->adSequence(), indexed);
    EXPECT_EQ(path->ad(), c.expected) << c.index;
    // On a live timeline the logical time outside an ad is the absolute time.
    if (!c.expected) {
      EXPECT_EQ(path->logicalTime(), seconds(25));
    }
  }
  EXPECT_FALSE(timeline->pathAtTimeForLiveSSAI(seconds(40))->adSequence());
}

TEST(SKYLVelaTimelineTest, EqualityHashAndDescription) {
  const auto a = fullTimeline();
  const auto b = fullTimeline();
  EXPECT_EQ(*a, *b);
  EXPECT_EQ(a->hash(), b->hash());
  EXPECT_EQ(*a, *a->copy());
  EXPECT_NE(*a, *twoBreakTimeline());
  EXPECT_NE(*a, *makeTimeline(120, {{0, {5, 5}}, {40, {10}}, {50, {10}}, {110, {9}}}));

  const std::string text = twoBreakTimeline()->description();
  EXPECT_EQ(text.rfind("<SKYLVelaTimeline: 0x", 0), 0u) << text;
  EXPECT_NE(text.find(" payloadLength = {78000/600 = 130.000};"), std::string::npos) << text;
  EXPECT_NE(text.find(" velaURL = https://ads.example.com/vmap.xml;"), std::string::npos);
  EXPECT_NE(text.find(" adId = 1-0;"), std::string::npos);
  EXPECT_EQ(text.back(), '>');
}

TEST(SKYLVelaTimelineTest, InstallLiveAdSequences_MergesOverlapOtherwiseReplaces) {
  test::LogCapture log;
  SKYLHostLogSetLevel(6);
  const auto timeline = makeTimeline(100, {{0, {10, 10, 10}}}, /*live=*/true);
  const auto original = timeline->adSequences()->front();

  timeline->installLiveAdSequences({test::makeBreak({0, {10}}, 0, 9)});
  EXPECT_EQ(timeline->adSequences()->front(), original);  // merged in place

  timeline->installLiveAdSequences({test::makeBreak({30, {10}}, 0, 9)});  // touches only
  const auto replaced = timeline->adSequences()->front();
  EXPECT_NE(replaced, original);
  EXPECT_EQ(replaced->beginTime(), seconds(30));

  timeline->installLiveAdSequences({});
  EXPECT_TRUE(timeline->adSequences()->empty());

  std::vector<std::string> hostLines;
  for (const auto& line : log.lines()) {
    if (line.channel == LogChannel::Host && line.level == 6) hostLines.push_back(line.message);
  }
  const std::vector<std::string> expected = {"Merging SLS ad sequence",
                                             "Installing new SLS ad sequence",
                                             "Installing new SLS ad sequence"};
  EXPECT_EQ(hostLines, expected);
  SKYLHostLogSetLevel(3);
}

}  // namespace
}  // namespace skylark
