#include "live2/SKYLSSAILive2Timeline.h"

#include <chrono>

#include <gtest/gtest.h>

#include "live2/SKYLSSAILive2Time.h"

namespace skylark {
namespace {

using Entries = std::vector<std::string>;

SKYLSSAILive2Ad ad(const std::string& id, double start, double duration,
                   std::optional<std::string> date = std::nullopt) {
  SKYLSSAILive2Ad a;
  a.adId = id;
  a.startTimeInSeconds = start;
  a.durationInSeconds = duration;
  a.adProgramDateTime = std::move(date);
  return a;
}

SKYLSSAILive2TrackingResponse answer(std::vector<SKYLSSAILive2Avail> avails) {
  SKYLSSAILive2TrackingResponse response;
  response.avails = std::move(avails);
  return response;
}

SKYLSSAILive2Avail avail(const std::string& id, double start, double duration,
                         std::vector<SKYLSSAILive2Ad> ads) {
  SKYLSSAILive2Avail a;
  a.availId = id;
  a.startTimeInSeconds = start;
  a.durationInSeconds = duration;
  a.ads = std::move(ads);
  return a;
}

Entries layout(const SKYLSSAILive2Timeline& timeline) {
  Entries out;
  for (const auto& e : timeline.entries()) {
    out.push_back(e.adId + "[" + std::to_string(static_cast<int>(e.startTimeInSeconds * 10)) + "+" +
                  std::to_string(static_cast<int>(e.durationInSeconds * 10)) + "]");
  }
  return out;
}

SystemTime at(const char* text) { return *SKYLSSAILive2ParseProgramDateTime(text); }

TEST(SKYLSSAILive2TimelineTest, SlatesFillGapsOverHalfASecond) {
  SKYLSSAILive2Timeline timeline;
  EXPECT_TRUE(
      timeline.merge(answer({avail("a1", 100, 30, {ad("x", 100.4, 14.6), ad("y", 116, 14)}),
                             avail("a2", 200, 30, {ad("z", 205, 10)}), avail("a3", 300, 10, {}),
                             avail("a4", 400, 0.4, {}), avail("", 500, 10, {})})));
  EXPECT_EQ(layout(timeline), (Entries{"x[1004+146]", "skyl-slate-a1[1150+10]", "y[1160+140]",
                                       "skyl-slate-a2[2000+50]", "z[2050+100]",
                                       "skyl-slate-a2-1[2150+150]", "skyl-slate-a3[3000+100]"}));
  EXPECT_EQ(timeline.availOrder(), (std::vector<std::string>{"a1", "a2", "a3", "a4"}));
  EXPECT_EQ(timeline.availSpan("a2")->end, 230);
}

TEST(SKYLSSAILive2TimelineTest, MergeReportsOnlyRealChanges) {
  SKYLSSAILive2Timeline timeline;
  const auto first = answer({avail("a1", 100, 30, {ad("x", 100, 30)})});
  EXPECT_TRUE(timeline.merge(first));
  EXPECT_FALSE(timeline.merge(first));
  EXPECT_FALSE(timeline.merge(answer({})));
  EXPECT_TRUE(timeline.merge(answer({avail("a1", 100, 31, {ad("x", 100, 30)})})));
  EXPECT_TRUE(timeline.merge(answer({avail("a1", 100, 31, {ad("x", 100, 29)})})));
  // A later answer without a1 does not remove it.
  EXPECT_TRUE(timeline.merge(answer({avail("a2", 200, 10, {})})));
  EXPECT_EQ(timeline.availOrder().size(), 2u);
}

TEST(SKYLSSAILive2TimelineTest, EntryAtADateAndPruning) {
  SKYLSSAILive2Timeline timeline;
  (void)timeline.merge(answer(
      {avail("a1", 0, 30,
             {ad("x", 0, 10, "2024-05-01T10:00:00Z"), ad("y", 10, 20, "2024-05-01T10:00:10.000Z")}),
       avail("a2", 60, 10, {ad("undated", 60, 10)})}));
  struct Case {
    const char* date;
    const char* adId;  // "" for none
  };
  const Case cases[] = {{"2024-05-01T09:59:59.999Z", ""},  {"2024-05-01T10:00:00Z", "x"},
                        {"2024-05-01T10:00:09.999Z", "x"}, {"2024-05-01T10:00:10Z", "y"},
                        {"2024-05-01T10:00:29.999Z", "y"}, {"2024-05-01T10:00:30Z", ""}};
  for (const auto& c : cases) {
    const auto entry = timeline.entry(at(c.date));
    EXPECT_EQ(entry ? entry->adId : "", c.adId) << c.date;
  }
  timeline.prune(at("2024-05-01T10:00:30Z"));  // y ends exactly now: not yet over
  EXPECT_EQ(timeline.availOrder().size(), 2u);
  timeline.prune(at("2024-05-01T10:00:31Z"));
  EXPECT_EQ(timeline.availOrder(), std::vector<std::string>{"a2"});  // undated: never pruned
  EXPECT_EQ(layout(timeline), Entries{"undated[600+100]"});
  EXPECT_FALSE(timeline.entry(at("2024-05-01T10:00:05Z")));
}

TEST(SKYLSSAILive2TimelineTest, OverlappingDatesStillFindTheFirstEntry) {
  SKYLSSAILive2Timeline timeline;
  (void)timeline.merge(answer({avail(
      "a1", 0, 30,
      {ad("long", 0, 30, "2024-05-01T10:00:00Z"), ad("inner", 5, 5, "2024-05-01T10:00:05Z")})}));
  EXPECT_EQ(timeline.entry(at("2024-05-01T10:00:06Z"))->adId, "long");
}

TEST(SKYLSSAILive2TimelineTest, MergingIsLinearAndTheAvailsKeptAreBounded) {
  std::vector<SKYLSSAILive2Avail> many;
  for (int i = 0; i < 50000; ++i) many.push_back(avail("a" + std::to_string(i), i * 60.0, 30, {}));
  SKYLSSAILive2Timeline timeline;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(timeline.merge(answer(std::move(many))));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  auto order = timeline.availOrder();
  ASSERT_EQ(order.size(), SKYLSSAILive2Timeline::kMaxAvails);
  EXPECT_EQ(order.back(), "a49999");  // the newest are kept

  // A service announcing 500 new avails on every poll.
  for (int poll = 0; poll < 10; ++poll) {
    std::vector<SKYLSSAILive2Avail> fresh;
    for (int i = 0; i < 500; ++i) {
      fresh.push_back(avail("p" + std::to_string(poll) + "-" + std::to_string(i), 0, 30, {}));
    }
    EXPECT_TRUE(timeline.merge(answer(std::move(fresh))));
    EXPECT_LE(timeline.availOrder().size(), SKYLSSAILive2Timeline::kMaxAvails);
  }
  EXPECT_EQ(timeline.availOrder().back(), "p9-499");
}

TEST(SKYLSSAILive2TimelineTest, AbsurdDurationsAndDatesAreNotUsed) {
  const auto response = SKYLSSAILive2TrackingResponse::decode(R"({"avails": [
      {"availId": "a", "durationInSeconds": 1e17, "ads": [
        {"adId": "x", "durationInSeconds": 1e17, "adProgramDateTime": "1900-01-01T00:00:00Z"},
        {"adId": "y", "duration": "PT99999999999999999999H", "adProgramDateTime": "99999-01-01T00:00:00Z"}]}]})");
  ASSERT_TRUE(response.ok());
  const auto& ads = response->avails[0].ads;
  EXPECT_EQ(response->avails[0].durationInSeconds, 0);
  EXPECT_EQ(ads[0].durationInSeconds, 0);
  EXPECT_EQ(ads[1].durationInSeconds, 0);
  SKYLSSAILive2Timeline timeline;
  EXPECT_TRUE(timeline.merge(response.value()));
  EXPECT_FALSE(timeline.entries()[1].programDate);  // year 99999 is no date
  EXPECT_FALSE(timeline.entry(at("1900-01-01T00:00:00Z")));
}

}  // namespace
}  // namespace skylark
