#include "timeline/TimelineIndex.h"

#include <random>

#include <gtest/gtest.h>

#include "support/TimelineFixtures.h"

namespace skylark {
namespace {

using test::BreakSpec;
using test::seconds;
namespace walks = timeline_walks;

// Random well-ordered layouts: breaks of 1-4 ads, gaps that may be zero
// (back-to-back breaks), a pre-roll half the time, a post-roll that may
// end the stream exactly.
std::vector<BreakSpec> randomLayout(std::mt19937& rng, double& payload) {
  std::uniform_int_distribution<int> breakCount(0, 12), adCount(1, 4), coin(0, 1);
  std::uniform_int_distribution<int> gapTenths(0, 600), adTenths(1, 300);
  std::vector<BreakSpec> breaks;
  double at = coin(rng) ? 0 : gapTenths(rng) / 10.0;
  for (int b = breakCount(rng); b > 0; --b) {
    BreakSpec plan{at, {}};
    for (int a = adCount(rng); a > 0; --a) plan.durations.push_back(adTenths(rng) / 10.0);
    for (double d : plan.durations) at += d;
    breaks.push_back(plan);
    at += coin(rng) ? 0 : gapTenths(rng) / 10.0;
  }
  payload = at + (coin(rng) ? 0 : gapTenths(rng) / 10.0);
  return breaks;
}

// Every boundary, a hair either side of it, and the non-numeric times.
std::vector<MediaTime> probesFor(const std::vector<MediaTime>& boundaries) {
  std::vector<MediaTime> probes = {MediaTime::invalid(), MediaTime::positiveInfinity(),
                                   MediaTime::negativeInfinity(), MediaTime::zero(), seconds(-1)};
  const MediaTime hair = MediaTime::make(1, 600);
  for (const auto& b : boundaries) {
    probes.push_back(b);
    probes.push_back(b - hair);
    probes.push_back(b + hair);
  }
  return probes;
}

void expectSame(const MediaTime& fast, const MediaTime& walked, const std::string& what) {
  EXPECT_EQ(compare(fast, walked), 0)
      << what << ": " << fast.description() << " vs " << walked.description();
  EXPECT_EQ(fast.isValid(), walked.isValid()) << what;
}

TEST(TimelineIndexTest, AgreesWithTheWalksOnRandomLayouts) {
  std::mt19937 rng(20261122);
  for (int round = 0; round < 300; ++round) {
    double payload = 0;
    const auto layout = randomLayout(rng, payload);
    const auto built = test::makeTimeline(payload, layout);
    const auto sequences = *built->adSequences();
    const MediaTime payloadLength = built->payloadLength();
    const auto index = TimelineIndex::build(sequences, payloadLength);
    ASSERT_TRUE(index) << "round " << round;

    const auto segments = walks::contentSegments(sequences, payloadLength);
    std::vector<MediaTime> absoluteBoundaries = {payloadLength};
    for (const auto& s : sequences) {
      for (const auto& ad : s->ads()) {
        absoluteBoundaries.push_back(ad->beginTime());
        absoluteBoundaries.push_back(ad->endTime());
      }
    }
    for (const auto& t : probesFor(absoluteBoundaries)) {
      const std::string at = "round " + std::to_string(round) + " t=" + t.description();
      expectSame(index->contentTimeAt(t), walks::contentTimeAt(segments, t), "content " + at);
      expectSame(index->adTimeEndedBy(t), walks::adTimeEndedBy(sequences, t), "ended " + at);
      const auto fast = index->locate(t);
      const auto walked = walks::locate(sequences, t);
      EXPECT_EQ(fast.adSequence, walked.adSequence) << at;
      EXPECT_EQ(fast.ad, walked.ad) << at;
    }

    std::vector<MediaTime> contentBoundaries = {built->contentLength()};
    for (const auto& s : sequences) contentBoundaries.push_back(s->logicalOffset());
    for (const auto& c : probesFor(contentBoundaries)) {
      expectSame(index->absoluteTimeAt(c), walks::absoluteTimeAt(segments, payloadLength, c),
                 "round " + std::to_string(round) + " c=" + c.description());
    }
  }
}

// A span answers as the timeline's own path does at its begin, at the time
// asked, and a hair before its end.
TEST(TimelineIndexTest, ASpanAnswersAsTheTimelinesPaths) {
  std::mt19937 rng(20261123);
  const MediaTime hair = MediaTime::make(1, 600);
  for (int round = 0; round < 200; ++round) {
    double payload = 0;
    const auto timeline = test::makeTimeline(payload, randomLayout(rng, payload));
    std::vector<MediaTime> boundaries = {timeline->payloadLength()};
    for (const auto& s : *timeline->adSequences()) {
      for (const auto& ad : s->ads()) {
        boundaries.push_back(ad->beginTime());
        boundaries.push_back(ad->endTime());
      }
    }
    for (const auto& t : probesFor(boundaries)) {
      const std::string at = "round " + std::to_string(round) + " t=" + t.description();
      const auto span = timeline->pathSpanAt(t);
      ASSERT_EQ(span.has_value(), t.isNumeric()) << at;
      if (!span) continue;
      EXPECT_TRUE(span->contains(t)) << at;
      for (const auto& inside : {span->begin, t, span->end - hair}) {
        if (!inside.isNumeric() || !span->contains(inside)) continue;
        const auto searched = timeline->pathAtTime(inside);
        EXPECT_EQ(span->adSequence, searched->adSequence()) << at;
        EXPECT_EQ(span->ad, searched->ad()) << at;
        expectSame(span->logicalTimeAt(inside), searched->logicalTime(), "logical " + at);
      }
    }
  }
  // A live timeline's breaks change: it has no spans.
  const auto live = SKYLVelaTimeline::create(std::nullopt, seconds(0), seconds(100),
                                             {test::makeBreak({10, {5}}, 0, 0)}, {}, true);
  EXPECT_FALSE(live->pathSpanAt(seconds(12)));
}

TEST(TimelineIndexTest, LayoutsThatAreNotWellOrderedAreWalked) {
  struct Case {
    const char* name;
    double payload;
    std::vector<BreakSpec> breaks;
  };
  const Case cases[] = {
      {"overlapping breaks", 100, {{10, {20}}, {20, {5}}}},
      {"breaks out of order", 100, {{50, {5}}, {10, {5}}}},
      {"a break without ads", 100, {{10, {5}}, {40, {}}}},
  };
  for (const auto& c : cases) {
    SKYLVelaTimeline::Sequences sequences;
    for (size_t i = 0; i < c.breaks.size(); ++i) {
      sequences.push_back(test::makeBreak(c.breaks[i], 0, i));
    }
    EXPECT_FALSE(TimelineIndex::build(sequences, seconds(c.payload))) << c.name;
    // The timeline still answers, by walking.
    const auto timeline = SKYLVelaTimeline::create(std::nullopt, seconds(0), seconds(c.payload),
                                                   sequences, {}, false);
    EXPECT_FALSE(timeline->pathSpanAt(seconds(12))) << c.name;
    const auto segments = walks::contentSegments(sequences, seconds(c.payload));
    for (double t : {0.0, 12.0, 22.0, 45.0, 99.0}) {
      expectSame(timeline->contentTimeAtAbsoluteTime(seconds(t)),
                 walks::contentTimeAt(segments, seconds(t)), c.name);
    }
  }
  // An infinite stream length cannot be indexed either.
  EXPECT_FALSE(TimelineIndex::build({}, MediaTime::positiveInfinity()));
}

}  // namespace
}  // namespace skylark
