#include "host/gst/TimedMetadataCrossings.h"

#include <gtest/gtest.h>

namespace skylark {
namespace {

MediaTime at(double seconds) { return MediaTime::makeWithSeconds(seconds, 1000); }
TimedMetadataItem frame(double seconds, const std::string& bytes) { return {at(seconds), bytes}; }

std::vector<std::string> texts(const std::vector<TimedMetadataItem>& items) {
  std::vector<std::string> out;
  for (const auto& item : items) out.push_back(item.bytes);
  return out;
}

TEST(TimedMetadataCrossingsTest, HandsOutEachFrameOnceAsPlaybackCrossesIt) {
  struct Step {
    double from, to;
    bool includeTo;
    std::vector<std::string> expected;
  };
  struct Case {
    std::string name;
    std::vector<Step> steps;
  };
  const Case cases[] = {
      {"forward in steps", {{0, 5, false, {"a"}}, {5, 18, false, {}}, {18, 18.2, false, {"b"}}}},
      {"a frame at the end of a step waits for the next",
       {{0, 18, false, {"a"}}, {18, 19, false, {"b"}}}},
      {"at the end of the stream the last instant counts", {{10, 36, true, {"b", "c"}}}},
      {"a seek over a frame, then back and across it",
       {{0, 1, false, {"a"}}, {20, 30, false, {}}, {17, 19, false, {"b"}}}},
      {"crossed again after a seek back: not again",
       {{0, 19, false, {"a", "b"}}, {0, 19, false, {}}}},
  };
  for (const auto& c : cases) {
    TimedMetadataCrossings crossings;
    crossings.add({frame(36, "c"), frame(0.125, "a"), frame(18, "b")});
    crossings.add({frame(18, "b")});  // read again after a seek back
    for (const auto& step : c.steps) {
      EXPECT_EQ(texts(crossings.crossed(at(step.from), at(step.to), step.includeTo)), step.expected)
          << c.name << ": " << step.from << " to " << step.to;
    }
  }
}

TEST(TimedMetadataCrossingsTest, TwoFramesAtOneTimeBothCountAndClearForgets) {
  TimedMetadataCrossings crossings;
  crossings.add({frame(5, "x"), frame(5, "y")});
  EXPECT_EQ(texts(crossings.crossed(at(0), at(6))), (std::vector<std::string>{"x", "y"}));
  crossings.clear();
  crossings.add({frame(5, "x")});
  EXPECT_EQ(texts(crossings.crossed(at(0), at(6))), std::vector<std::string>{"x"});
}

}  // namespace
}  // namespace skylark
