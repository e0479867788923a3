#include "tracking/VASTMacros.h"

#include <gtest/gtest.h>

#include <regex>

#include "tracking/BeaconMacroExpander.h"
#include "tracking/OneShotBeaconFilter.h"

namespace skylark {
namespace {

// 2016-01-17T08:15:07.127Z
const SystemTime kMoment{std::chrono::milliseconds(1453018507127)};

VASTMacroValues everyValue() {
  VASTMacroValues values;
  values.cacheBusting = "04217730";
  values.timestamp = kMoment;
  values.contentPlayhead = MediaTime::make(3725250, 1000);  // 1:02:05.250
  values.mediaPlayhead = MediaTime::make(39 * 600 + 300, 600);
  values.adPlayhead = MediaTime::make(7500, 1000);
  values.breakPosition = 2;
  values.podSequence = 3;
  values.adCount = 4;
  values.assetURI = "https://cdn.example.com/ad 1.mp4";
  return values;
}

TEST(VASTMacrosTest, ExpandVASTMacros_EveryMacroInBothSpellings) {
  struct Case {
    std::string name;
    std::string expected;
  };
  const Case cases[] = {
      {"CACHEBUSTING", "04217730"},
      {"TIMESTAMP", "2016-01-17T08%3A15%3A07.127%2B00%3A00"},
      {"CONTENTPLAYHEAD", "01%3A02%3A05.250"},
      {"MEDIAPLAYHEAD", "00%3A00%3A39.500"},
      {"ADPLAYHEAD", "00%3A00%3A07.500"},
      {"BREAKPOSITION", "2"},
      {"PODSEQUENCE", "3"},
      {"ADCOUNT", "4"},
      {"ASSETURI", "https%3A%2F%2Fcdn.example.com%2Fad%201.mp4"},
      {"NOSUCHMACRO", "-1"},
  };
  for (const auto& c : cases) {
    for (const auto& spelled : {"[" + c.name + "]", "%%" + c.name + "%%"}) {
      // Twice, in the path and the query: every occurrence is replaced.
      const std::string url = "https://b.example.com/" + spelled + "/x?v=" + spelled + "&k=1";
      EXPECT_EQ(expandVASTMacros(url, everyValue()),
                "https://b.example.com/" + c.expected + "/x?v=" + c.expected + "&k=1")
          << spelled;
    }
  }
}

TEST(VASTMacrosTest, ExpandVASTMacros_UnknownValuesBecomeMinusOne) {
  const VASTMacroValues none;
  for (const char* name : {"CACHEBUSTING", "TIMESTAMP", "CONTENTPLAYHEAD", "MEDIAPLAYHEAD",
                           "ADPLAYHEAD", "BREAKPOSITION", "PODSEQUENCE", "ADCOUNT", "ASSETURI"}) {
    EXPECT_EQ(expandVASTMacros(std::string("a=[") + name + "]&b=%%" + name + "%%", none),
              "a=-1&b=-1")
        << name;
  }
  VASTMacroValues invalidTime;
  invalidTime.adPlayhead = MediaTime::invalid();
  EXPECT_EQ(expandVASTMacros("[ADPLAYHEAD]", invalidTime), "-1");
}

TEST(VASTMacrosTest, ExpandVASTMacros_LeavesWhatIsNoMacro) {
  const char* const unchanged[] = {
      "https://b.example.com/imp?id=7",
      "https://b.example.com/a[0]=1",           // a name starts with a capital
      "https://b.example.com/[lower]",          // capitals only
      "https://b.example.com/[CACHEBUSTING",    // never closed
      "https://b.example.com/%%CACHEBUSTING%",  // half closed
      "https://b.example.com/[]%%%%",           // no name
      "https://[::1]:8080/imp",                 // an IPv6 host
      "https://b.example.com/%41%42",           // escapes
  };
  for (const char* text : unchanged) {
    EXPECT_EQ(expandVASTMacros(text, everyValue()), text);
  }
  // The spellings mixed do not pair.
  EXPECT_EQ(expandVASTMacros("[ADCOUNT%%", everyValue()), "[ADCOUNT%%");
  EXPECT_EQ(expandVASTMacros("[[ADCOUNT]]", everyValue()), "[4]");
}

TEST(VASTMacrosTest, PlayheadsAndTimestamps) {
  struct Case {
    MediaTime time;
    std::string text;
  };
  const Case cases[] = {
      {MediaTime::zero(), "00:00:00.000"},
      {MediaTime::make(1, 600), "00:00:00.002"},
      {MediaTime::make(3599999, 1000), "00:59:59.999"},
      {MediaTime::make(360000 * 600, 600), "100:00:00.000"},
  };
  for (const auto& c : cases) EXPECT_EQ(vastPlayhead(c.time), c.text);
  EXPECT_EQ(vastTimestamp(kMoment), "2016-01-17T08:15:07.127+00:00");
  EXPECT_EQ(vastTimestamp(SystemTime{}), "1970-01-01T00:00:00.000+00:00");
}

TEST(BeaconMacroExpanderTest, Expand_EachRequestItsOwnCacheBusterAndTheContextsValues) {
  auto playheads = std::make_shared<BeaconPlayheads>();
  playheads->set(MediaTime::make(130, 1), MediaTime::make(100, 1));
  auto clock = std::make_shared<ManualSessionClock>(kMoment);
  BeaconMacroExpander expander(clock, playheads, 7);
  BeaconContext context("ad-1", "firstQuartile");
  context.adPlayhead = MediaTime::make(5, 1);
  context.breakPosition = 1;
  const auto url = *URL::parse(
      "https://b.example.com/q?cb=[CACHEBUSTING]&again=[CACHEBUSTING]&c=[CONTENTPLAYHEAD]&m=%%"
      "MEDIAPLAYHEAD%%&a=[ADPLAYHEAD]&p=[BREAKPOSITION]&s=[PODSEQUENCE]&t=[TIMESTAMP]&z=[ZZ]");
  const std::string first = expander.expand(url, context).absoluteString();
  const std::string second = expander.expand(url, context).absoluteString();
  const std::regex shape(
      "https://b\\.example\\.com/q\\?cb=(\\d{8})&again=\\1&c=00%3A01%3A40\\.000&m=00%3A02%3A10\\."
      "000&a=00%3A00%3A05\\.000&p=1&s=-1&t=2016-01-17T08%3A15%3A07\\.127%2B00%3A00&z=-1");
  std::smatch a, b;
  ASSERT_TRUE(std::regex_match(first, a, shape)) << first;
  ASSERT_TRUE(std::regex_match(second, b, shape)) << second;
  EXPECT_NE(a[1].str(), b[1].str());
  // A URL without macros is the same URL.
  const auto plain = *URL::parse("https://b.example.com/imp?x=1");
  EXPECT_EQ(expander.expand(plain, context).absoluteString(), plain.absoluteString());
}

TEST(OneShotBeaconFilterTest, FirstTime_OneShotOncePerAdRepeatableAlways) {
  OneShotBeaconFilter filter;
  const auto url = *URL::parse("https://b.example.com/x");
  auto at = [](std::string type, double begin) {
    BeaconContext context("ad-1", std::move(type));
    context.adBeginTime = MediaTime::makeWithSeconds(begin, 600);
    return context;
  };
  EXPECT_TRUE(filter.firstTime(url, at("impression", 100)));
  EXPECT_FALSE(filter.firstTime(url, at("impression", 100)));
  EXPECT_TRUE(filter.firstTime(url, at("impression", 220)));  // the creative in another break
  EXPECT_TRUE(filter.firstTime(url, at("firstQuartile", 100)));
  EXPECT_FALSE(filter.firstTime(url, at("firstQuartile", 100)));
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(filter.firstTime(url, at("click", 100)));
    EXPECT_TRUE(filter.firstTime(url, at("skip", 100)));
    EXPECT_TRUE(filter.firstTime(url, at("pause", 100)));
  }
}

}  // namespace
}  // namespace skylark
