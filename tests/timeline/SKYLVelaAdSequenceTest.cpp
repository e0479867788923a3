#include "timeline/SKYLVelaAdSequence.h"

#include <gtest/gtest.h>

#include "support/TimelineFixtures.h"

namespace skylark {
namespace {

using test::seconds;

std::shared_ptr<const SKYLVelaAd> ad(const std::string& id, double begin, double duration,
                                     bool placeholder = false, bool notSlate = true) {
  SKYLVelaAdBuilder builder;
  builder.adId = id;
  builder.beginTime = seconds(begin);
  builder.duration = seconds(duration);
  builder.adSourcePlaceholder = placeholder;
  builder.adNotSlate = notSlate;
  return builder.buildAd();
}

TEST(SKYLVelaAdSequenceTest, DerivedTimes) {
  const auto first = ad("a", 65, 10)->copyWith([](SKYLVelaAd::Fields& fields) {
    fields.logicalOffset = seconds(50);
  });
  const SKYLVelaAdSequence sequence({first, ad("b", 75, 5)});
  EXPECT_EQ(sequence.beginTime(), seconds(65));
  EXPECT_EQ(sequence.endTime(), seconds(80));
  EXPECT_EQ(sequence.duration(), seconds(15));
  EXPECT_EQ(sequence.logicalOffset(), seconds(50));

  const SKYLVelaAdSequence empty(SKYLVelaAdSequence::Ads{});
  for (const MediaTime& t : {empty.beginTime(), empty.endTime(), empty.logicalOffset()}) {
    EXPECT_FALSE(t.isValid());
  }
  EXPECT_EQ(empty.duration(), MediaTime::zero());  // nothing to play lasts no time
  EXPECT_TRUE(sequence.liveSsaiClientOptionsShowAdRemainingTime());
  EXPECT_EQ(sequence.liveSsaiTimingDataAdIndex(), 0);
}

std::vector<std::pair<std::string, std::pair<double, double>>> layout(
    const SKYLVelaAdSequence& sequence) {
  std::vector<std::pair<std::string, std::pair<double, double>>> out;
  for (const auto& a : sequence.ads()) {
    out.push_back({a->adId(), {a->beginTime().seconds(), a->endTime().seconds()}});
  }
  return out;
}

TEST(SKYLVelaAdSequenceTest, Merge_PlaceholdersKeepAdsRealAdsReplaceAndSlateAbsorbs) {
  SKYLVelaAdSequence current(
      {ad("A0", 100, 10), ad("A1", 110, 10), ad("slate", 120, 10, false, /*notSlate=*/false)});
  const auto before = current.ads();
  SKYLVelaAdSequence::LiveOptions live;
  live.timingDataAdIndex = 1;
  SKYLVelaAdSequence incoming({ad("P0", 0, 8, /*placeholder=*/true), ad("B1", 0, 12),
                               ad("slate2", 0, 3, false, /*notSlate=*/false)},
                              live);

  current.mergeAdSequence(incoming);

  const decltype(layout(current)) expected = {
      {"A0", {100, 108}}, {"B1", {108, 118}}, {"slate2", {118, 130}}};
  EXPECT_EQ(layout(current), expected);
  EXPECT_EQ(current.duration(), seconds(30));  // the break keeps its length
  EXPECT_EQ(current.liveSsaiTimingDataAdIndex(), 1);
  // Readers holding the old snapshot still see the old ads, unchanged.
  EXPECT_EQ(before[0]->endTime(), seconds(110));
  EXPECT_EQ(incoming.ads()[1]->duration(), seconds(12));
}

TEST(SKYLVelaAdSequenceTest, Merge_WithItselfOrAShorterBreakDoesNotBreak) {
  SKYLVelaAdSequence current({ad("A0", 0, 10), ad("A1", 10, 10)});
  current.mergeAdSequence(current);
  EXPECT_EQ(current.endTime(), seconds(20));

  current.mergeAdSequence(SKYLVelaAdSequence({ad("B0", 0, 4)}));
  const decltype(layout(current)) expected = {{"B0", {0, 10}}, {"A1", {10, 20}}};
  EXPECT_EQ(layout(current), expected);
}

TEST(SKYLVelaAdSequenceTest, EqualityFollowsTheAds) {
  const SKYLVelaAdSequence a({ad("x", 0, 10)});
  const SKYLVelaAdSequence b({ad("x", 0, 10)});
  const SKYLVelaAdSequence c({ad("y", 0, 10)});
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_NE(a, c);
  EXPECT_EQ(SKYLVelaAdSequence(a), a);
  EXPECT_NE(a.description().find(" beginTime = {0/600 = 0.000};"), std::string::npos);
}

}  // namespace
}  // namespace skylark
