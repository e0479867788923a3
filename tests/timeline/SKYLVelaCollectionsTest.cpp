#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "support/TimelineFixtures.h"
#include "timeline/SKYLVelaCompanionAdBuilder.h"
#include "timeline/SKYLVelaCompanionAdsCollectionBuilder.h"
#include "timeline/SKYLVelaTrackingEventsCollectionBuilder.h"

namespace skylark {
namespace {

using test::seconds;

URL url(const std::string& path) { return *URL::parse("https://t.example.com/" + path); }

std::vector<std::string> strings(const std::vector<URL>& urls) {
  std::vector<std::string> out;
  for (const auto& u : urls) out.push_back(u.absoluteString().substr(22));
  return out;
}

std::shared_ptr<const SKYLVelaTrackingEventsCollection> sampleEvents() {
  SKYLVelaTrackingEventsCollectionBuilder builder;
  builder.addTrackingEventNamed("midpoint", "15", url("mid"));
  builder.addTrackingEventNamed("start", "0", url("start"));
  builder.addTrackingEventNamed("firstQuartile", "7", url("q1"));
  builder.addTrackingEventNamed("complete", "30", url("complete"));
  builder.addTrackingEventNamed("breakEnd", "30", url("breakEnd"));
  builder.addTrackingEventNamed("progress", "abc", url("progress-abc"));
  builder.addTrackingEventNamed("start", "0", std::nullopt);
  builder.addTrackingEventNamed("impression", url("imp1"));
  builder.addTrackingEventNamed("impression", url("imp2"));
  return builder.buildTrackingEventsCollection();
}

TEST(SKYLVelaTrackingEventsCollectionTest, OffsetEventsInHalfOpenRange) {
  const auto events = sampleEvents();
  struct Case {
    double from, before;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {0, 7, {"start", "progress-abc"}},  // an unreadable offset reads as 0 s
      {7, 15, {"q1"}},
      {7, 15.001, {"q1", "mid"}},
      {15, 30.5, {"mid"}},  // complete and breakEnd never have an ordered place
      {16, 100, {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(strings(events->URLsForTrackingEventsAtOrAfter(seconds(c.from), seconds(c.before))),
              c.expected)
        << c.from << ".." << c.before;
  }
}

TEST(SKYLVelaTrackingEventsCollectionTest, EventsByNameKeepInsertionOrderAndSkipNullURLs) {
  const auto events = sampleEvents();
  EXPECT_EQ(strings(events->URLsForTrackingEventsNamed("impression")),
            (std::vector<std::string>{"imp1", "imp2"}));
  EXPECT_EQ(strings(events->URLsForTrackingEventsNamed("start")),
            std::vector<std::string>{"start"});
  EXPECT_EQ(strings(events->URLsForTrackingEventsNamed("complete")),
            std::vector<std::string>{"complete"});
  EXPECT_TRUE(events->URLsForTrackingEventsNamed("unknown").empty());
  EXPECT_EQ(events->eventsByName().at("start").size(), 2u);
  EXPECT_FALSE(events->eventsByName().at("impression").front().offset().isValid());
  EXPECT_EQ(*events, *sampleEvents());
  EXPECT_EQ(events->hash(), sampleEvents()->hash());
}

// Each event is held once and read through two views: by name (names
// ascending, each name's events as added) and in offset order (ties as
// added). Equality and hash follow the views, not the order in which
// different names were added.
TEST(SKYLVelaTrackingEventsCollectionTest, ViewsOverOneCopyOfEachEvent) {
  using Added = std::tuple<std::string, std::optional<std::string>, std::string>;
  auto build = [](const std::vector<Added>& added) {
    SKYLVelaTrackingEventsCollectionBuilder builder;
    for (const auto& [name, offset, path] : added) {
      if (offset) {
        builder.addTrackingEventNamed(name, *offset, url(path));
      } else {
        builder.addTrackingEventNamed(name, url(path));
      }
    }
    return builder.buildTrackingEventsCollection();
  };
  const std::vector<Added> added = {
      {"start", "0", "a"},          {"creativeView", std::nullopt, "cv"},
      {"start", std::nullopt, "b"}, {"midpoint", "15", "mid"},
      {"start", "0", "c"},          {"custom", "5", "x"},
      {"complete", "30", "done"},
  };
  const auto events = build(added);

  std::vector<std::string> byName;
  for (const auto& [name, list] : events->eventsByName()) {
    std::string entry = name + ":";
    for (const auto& event : list) entry += strings({*event.url()})[0] + ",";
    byName.push_back(entry);
  }
  EXPECT_EQ(byName, (std::vector<std::string>{"complete:done,", "creativeView:cv,", "custom:x,",
                                              "midpoint:mid,", "start:a,b,c,"}));
  std::vector<std::string> ordered;
  for (const auto& event : events->orderedEventsWithOffsets()) {
    ordered.push_back(event.name() + ":" + strings({*event.url()})[0]);
  }
  EXPECT_EQ(ordered, (std::vector<std::string>{"start:a", "start:c", "custom:x", "midpoint:mid"}));
  EXPECT_EQ(strings(events->URLsForTrackingEventsNamed("start")),
            (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(events->eventsByName().count("custom"), 1u);
  EXPECT_EQ(events->eventsByName().count("cust"), 0u);
  EXPECT_TRUE(events->eventsByName().at("none").empty());

  // The same events per name, names interleaved otherwise: equal.
  const auto regrouped =
      build({added[5], added[0], added[2], added[6], added[3], added[1], added[4]});
  EXPECT_EQ(*regrouped, *events);
  EXPECT_EQ(regrouped->hash(), events->hash());
  // One name's events in another order: not equal.
  const auto reordered =
      build({added[0], added[1], added[4], added[3], added[2], added[5], added[6]});
  EXPECT_FALSE(*reordered == *events);
}

std::shared_ptr<const SKYLVelaCompanionAd> companion(int64_t w, int64_t h, const std::string& id) {
  SKYLVelaCompanionAdBuilder builder;
  builder.width = w;
  builder.height = h;
  builder.identifier = id;
  builder.staticResourceURL = url(id + ".png");
  return builder.buildCompanionAd();
}

TEST(SKYLVelaCompanionAdsCollectionTest, SortedBySizeAndLookedUp) {
  SKYLVelaCompanionAdsCollectionBuilder builder;
  builder.addCompanionAd(companion(728, 90, "leader"));
  builder.addCompanionAd(companion(300, 250, "a"));
  builder.addCompanionAd(companion(300, 60, "small"));
  builder.addCompanionAd(companion(300, 250, "b"));
  builder.addCompanionAd(nullptr);
  const auto collection = builder.buildCompanionAdsCollection();

  std::vector<std::string> order;
  for (const auto& c : collection->orderedCompanionAdsWithWidthThenHeight()) {
    order.push_back(*c->identifier());
  }
  EXPECT_EQ(order, (std::vector<std::string>{"small", "a", "b", "leader"}));

  const auto mediumRectangles = collection->companionAdsForWidth(300, 250);
  ASSERT_EQ(mediumRectangles.size(), 2u);
  EXPECT_EQ(*mediumRectangles[0]->identifier(), "a");
  EXPECT_EQ(*mediumRectangles[1]->identifier(), "b");
  EXPECT_TRUE(collection->companionAdsForWidth(300, 100).empty());
  EXPECT_TRUE(collection->companionAdsForWidth(1000, 90).empty());

  EXPECT_EQ(collection->companionAdWithIdentifier("leader")->width(), 728);
  EXPECT_EQ(collection->companionAdWithIdentifier("missing"), nullptr);
  EXPECT_TRUE(SKYLVelaCompanionAdsCollectionBuilder{}
                  .buildCompanionAdsCollection()
                  ->orderedCompanionAdsWithWidthThenHeight()
                  .empty());
}

TEST(SKYLVelaAdBuilderTest, BuildCopiesEveryFieldAndResetsTheIndex) {
  SKYLVelaAdBuilder builder;
  EXPECT_FALSE(builder.skipOffset.isValid());
  builder.adId = "ad-7";
  builder.beginTime = seconds(10);
  builder.duration = seconds(30);
  builder.logicalOffset = seconds(10);
  builder.skipOffset = seconds(5);
  builder.impressionURLs = {url("imp")};
  builder.trackingEventsCollection = sampleEvents();
  builder.clickThroughURL = url("click");
  builder.clickTrackingURLs = {url("ct")};
  builder.adNotSlate = true;
  builder.vastAdExtensions = {{"Extension", {{"type", "x"}}, std::string("v")}};
  const auto ad = builder.buildAd();

  EXPECT_EQ(ad->title(), "");  // a null title reads as empty
  EXPECT_EQ(ad->adId(), "ad-7");
  EXPECT_EQ(ad->endTime(), seconds(40));
  EXPECT_EQ(ad->skipOffset(), seconds(5));
  EXPECT_EQ(ad->adIndex(), -1);
  EXPECT_TRUE(ad->isAdNotSlate());
  EXPECT_EQ(ad->trackingEventsCollection(), builder.trackingEventsCollection);
  EXPECT_EQ(ad->vastAdExtensions(), builder.vastAdExtensions);
  EXPECT_EQ(*ad, *builder.buildAd());

  builder.clickTrackingURLs.push_back(url("ct2"));
  EXPECT_EQ(ad->clickTrackingURLs().size(), 1u);  // the ad kept its own copy
  EXPECT_NE(*ad, *builder.buildAd());
}

}  // namespace
}  // namespace skylark
