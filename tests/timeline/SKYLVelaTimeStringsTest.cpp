#include "timeline/SKYLVelaTimeStrings.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "timeline/SKYLVelaLog.h"

namespace skylark {
namespace {

using test::LogCapture;

const std::string kCharacterLine =
    "Could not parse duration `%s` (must contain only characters from the character set "
    "`<CharacterSet: inverted set of \"0123456789.:+\">`).";
const std::string kSeparatorLine =
    "Could not parse duration `%s` (must contain only hours, minutes, and seconds, separated by "
    "`:`).";
const std::string kMissingLine =
    "Could not parse duration `%s` (missing hours, minutes, or seconds).";

std::string line(const std::string& pattern, const std::string& value) {
  std::string out = pattern;
  out.replace(out.find("%s"), 2, value);
  return out;
}

class TimeStringsTest : public ::testing::Test {
 protected:
  void SetUp() override { SKYLVelaLogConfigure(1); }
  void TearDown() override { SKYLVelaLogConfigure(1); }
  LogCapture log_;
};

TEST_F(TimeStringsTest, DurationFromString) {
  struct Case {
    std::string text;
    int64_t value;  // at timescale 600; -1 for invalid
    std::string logLine;
  };
  const Case cases[] = {
      {"00:00:30", 18000, ""},
      {"00:01:02.500", 37500, ""},
      {"01:00:00+02:00", 2160000, ""},
      {"00:90:00", 3240000, ""},
      {"00:00:05.5", 3300, ""},
      {"00:00:.", -1, line(kMissingLine, "00:00:.")},
      {"00:00:..", 0, ""},
      {"0:00:30", -1, line(kMissingLine, "0:00:30")},
      {"00:0:30", -1, line(kMissingLine, "00:0:30")},
      {"00:00:5", -1, line(kMissingLine, "00:00:5")},
      {"100:00:00", -1, line(kMissingLine, "100:00:00")},
      {"00:30", -1, line(kSeparatorLine, "00:30")},
      {"30", -1, line(kSeparatorLine, "30")},
      {"", -1, line(kSeparatorLine, "")},
      {"00:00:00:30", -1, line(kSeparatorLine, "00:00:00:30")},
      {"00:00+:30", -1, line(kSeparatorLine, "00:00")},
      {"00:00:30Z", -1, line(kCharacterLine, "00:00:30Z")},
      {"-00:00:05", -1, line(kCharacterLine, "-00:00:05")},
      {"50%", -1, line(kCharacterLine, "50%")},
      {"00:00:\xc3\xa9", -1, line(kCharacterLine, "00:00:\xc3\xa9")},
      {std::string("00:00:3\0", 8), -1, line(kCharacterLine, std::string("00:00:3\0", 8))},
  };
  for (const auto& c : cases) {
    log_.clear();
    const MediaTime parsed = SKYLVelaDurationFromString(c.text);
    if (c.value < 0) {
      EXPECT_FALSE(parsed.isValid()) << c.text;
    } else {
      ASSERT_TRUE(parsed.isNumeric()) << c.text;
      EXPECT_EQ(parsed.value, c.value) << c.text;
      EXPECT_EQ(parsed.timescale, 600) << c.text;
    }
    if (!c.logLine.empty()) {
      EXPECT_EQ(log_.messages(), std::vector<std::string>{c.logLine});
    }
  }
}

TEST_F(TimeStringsTest, DurationFromNullAndHugeStrings) {
  EXPECT_FALSE(SKYLVelaDurationFromString(std::nullopt).isValid());
  EXPECT_EQ(log_.messages(), std::vector<std::string>{
                                 "Could not parse duration `(null)` (nil duration parameter)."});
  const std::string huge(1 << 20, '9');
  EXPECT_FALSE(SKYLVelaDurationFromString(huge).isValid());
  const std::string hugeSeconds = "00:00:" + std::string(400, '9');
  const MediaTime t = SKYLVelaDurationFromString(hugeSeconds);
  EXPECT_TRUE(!t.isValid() || t.isPositiveInfinity() || t.isNumeric());
}

TEST_F(TimeStringsTest, AdBreakTimeOffsetFromString) {
  EXPECT_EQ(SKYLVelaAdBreakTimeOffsetFromString("START"), MediaTime::zero());
  EXPECT_TRUE(SKYLVelaAdBreakTimeOffsetFromString("start").isNumeric());
  EXPECT_TRUE(SKYLVelaAdBreakTimeOffsetFromString("end").isPositiveInfinity());
  EXPECT_TRUE(SKYLVelaAdBreakTimeOffsetFromString("End").isPositiveInfinity());
  EXPECT_EQ(SKYLVelaAdBreakTimeOffsetFromString("00:10:00").value, 360000);
  log_.clear();
  EXPECT_FALSE(SKYLVelaAdBreakTimeOffsetFromString("#2").isValid());
  EXPECT_EQ(log_.messages(), std::vector<std::string>{line(kCharacterLine, "#2")});
  EXPECT_FALSE(SKYLVelaAdBreakTimeOffsetFromString("50%").isValid());
}

TEST_F(TimeStringsTest, SkipOffsetFromStringWithDuration) {
  const MediaTime twenty = MediaTime::makeWithSeconds(20, 600);
  EXPECT_EQ(SKYLVelaSkipOffsetFromStringWithDuration("25%", twenty),
            MediaTime::makeWithSeconds(5, 600));
  EXPECT_EQ(SKYLVelaSkipOffsetFromStringWithDuration("00:00:05", twenty),
            MediaTime::makeWithSeconds(5, 600));
  EXPECT_EQ(SKYLVelaSkipOffsetFromStringWithDuration("start", twenty), MediaTime::zero());
  EXPECT_TRUE(SKYLVelaSkipOffsetFromStringWithDuration("end", twenty).isPositiveInfinity());
  log_.clear();
  EXPECT_FALSE(SKYLVelaSkipOffsetFromStringWithDuration("abc", twenty).isValid());
  const std::vector<std::string> expected = {
      line(kCharacterLine, "abc"),
      "Could not parse offset `abc` (must contain only characters from the character set `%`)."};
  EXPECT_EQ(log_.messages(), expected);
}

TEST_F(TimeStringsTest, LogConfigureSilencesAndRestores) {
  SKYLVelaLogConfigure(0);
  (void)SKYLVelaDurationFromString("bad");
  (void)SKYLVelaSkipOffsetFromStringWithDuration("bad", MediaTime::zero());
  EXPECT_TRUE(log_.messages().empty());
  SKYLVelaLogConfigure(7);  // ignored: still silent
  (void)SKYLVelaDurationFromString("bad");
  EXPECT_TRUE(log_.messages().empty());
  SKYLVelaLogConfigure(2);
  (void)SKYLVelaDurationFromString("bad");
  EXPECT_EQ(log_.messages().size(), 1u);
}

TEST(TimeToleranceTest, WithinToleranceIsExclusive) {
  const auto s = [](double v) { return MediaTime::makeWithSeconds(v, 600); };
  struct Case {
    MediaTime a, b, tolerance;
    bool expected;
  };
  const Case cases[] = {
      {s(10.0), s(10.4), s(0.5), true},
      {s(10.4), s(10.0), s(0.5), true},
      {s(10.0), s(10.5), s(0.5), false},
      {s(10.0), s(10.0), MediaTime::zero(), true},
      {s(10.0), s(10.0), MediaTime::invalid(), true},
      {s(10.0), s(11.0), MediaTime::invalid(), true},  // invalid sorts above everything
      {s(10.0), MediaTime::positiveInfinity(), s(1000), false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(SKYLVelaCMTimesWithinTolerance(c.a, c.b, c.tolerance), c.expected)
        << c.a.description() << " " << c.b.description() << " " << c.tolerance.description();
  }
}

TEST(TrimXMLStringValueTest, TrimsWhiteSpaceAndNewlinesAtBothEnds) {
  struct Case {
    std::optional<std::string> text;
    std::optional<std::string> expected;
  };
  const Case cases[] = {
      {std::nullopt, std::nullopt},
      {"", ""},
      {"  \n\thttp://a.com/x \r\n", "http://a.com/x"},
      {"inner  space", "inner  space"},
      {"\xc2\xa0nbsp\xe2\x80\xa8", "nbsp"},
      {" \xc3\xa9 ", "\xc3\xa9"},
      {"\xe3\x80\x80", ""},
  };
  for (const auto& c : cases) {
    const auto view = c.text ? std::optional<std::string_view>(*c.text) : std::nullopt;
    EXPECT_EQ(SKYLTrimXMLStringValue(view), c.expected);
  }
}

}  // namespace
}  // namespace skylark
