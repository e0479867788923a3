// What the application may choose beyond the plug-in's own behaviour, each
// against the default: beacon macros, the snapback switch, bookmarks and
// the skip policy for breaks already watched.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <regex>

#include "entry/SKYLSSAIAdditions.h"
#include "host/SKYLHostConstants.h"
#include "session/SKYLVUXSession.h"
#include "support/SessionHarness.h"
#include "support/VMAPFixtures.h"
#include "timeline/SKYLSSAIConstants.h"

namespace skylark {
namespace {

using test::SessionHarness;
using Strings = std::vector<std::string>;

// A break of one ad whose impression, quartile and click-tracking URLs
// carry `query` (macros, say).
std::string breakOf(const std::string& offset, const std::string& duration, const std::string& id,
                    const std::string& query = "") {
  const std::string escaped = std::regex_replace(query, std::regex("&"), "&amp;");
  std::string text = test::adBreak(
      offset, duration, id,
      "<TrackingEvents><Tracking event=\"firstQuartile\">https://b.example.com/q1/" + id + escaped +
          "</Tracking></TrackingEvents><VideoClicks><ClickTracking>https://b.example.com/click/" +
          id + escaped + "</ClickTracking></VideoClicks>");
  const std::string impression = "https://beacon.example.com/imp/" + id;
  text.replace(text.find(impression), impression.size(), impression + query);
  return text;
}

// 300 s of content: a 10 s pre-roll (stream 0-10), 20 s mid-rolls at
// content 100 (stream 110-130) and 200 (stream 230-250), a 10 s post-roll
// (stream 350-360).
std::string fourBreaks(const std::string& query = "") {
  return test::vmapDocument(
      breakOf("start", "00:00:10", "pre", query) + breakOf("00:01:40", "00:00:20", "m1", query) +
          breakOf("00:03:20", "00:00:20", "m2", query) + breakOf("end", "00:00:10", "post", query),
      360, 300);
}

SKYLVUXSessionProviderOptions withOptions(
    const std::function<void(SKYLVUXSessionProviderOptions&)>& set) {
  SKYLVUXSessionProviderOptions options;
  set(options);
  return options;
}

Strings adsEntered(const Strings& events) {
  Strings entered;
  for (const auto& event : events) {
    if (event.rfind("AdEnter ", 0) == 0) entered.push_back(event.substr(8));
  }
  return entered;
}

int count(const Strings& all, const std::string& one) {
  return static_cast<int>(std::count(all.begin(), all.end(), one));
}

// Each one-shot beacon URL (queries dropped: macros make each request
// differ) and how often it went out.
std::map<std::string, int> oneShotCounts(const Strings& urls) {
  std::map<std::string, int> counts;
  for (const auto& url : urls) {
    const std::string path = url.substr(0, url.find('?'));
    if (path.find("/click/") == std::string::npos) ++counts[path];
  }
  return counts;
}

void seek(SessionHarness& app, double to, std::vector<bool>* completions = nullptr) {
  ssai_seekToTime(*app.controller->providerExtension(), MediaTime::makeWithSeconds(to, 600),
                  [completions](bool finished) {
                    if (completions) completions->push_back(finished);
                  });
  app.settle();
}

// Plays backwards at normal speed until the stream time is `to`, then forward.
void rewindTo(SessionHarness& app, double to) {
  app.player->setRate(-1);
  while (app.streamTime() > to) {
    app.clock->advance(0.25);
    app.player->advance(0.25);
    app.settle();
  }
  app.player->setRate(1);
}

void clickTheAd(SessionHarness& app) {
  const auto* analytics = app.currentAd->property<std::shared_ptr<SKYLVelaAdAnalyticsSession>>(
      kSKYLSSAIAdPropertiesKeyVelaAdAnalyticsSession);
  ASSERT_TRUE(analytics && *analytics);
  (*analytics)->trackVideoClick();
}

// Macros ---------------------------------------------------------------------

TEST(SessionOptionsTest, MacrosAreFilledInOnlyWhenAskedFor) {
  const std::string query =
      "?cb=[CACHEBUSTING]&t=%%TIMESTAMP%%&c=[CONTENTPLAYHEAD]&m=%%MEDIAPLAYHEAD%%&a=[ADPLAYHEAD]"
      "&p=[BREAKPOSITION]&s=%%PODSEQUENCE%%&n=[ADCOUNT]&u=[ASSETURI]&x=[NOPE]&again=[CACHEBUSTING]";
  struct Case {
    bool macros;
    std::string impression;  // the mid-roll's, a regular expression
    std::string quartile;
    std::string click;
  };
  const std::string cb = "(\\d{8})";
  const std::string stamp = "\\d{4}-\\d\\d-\\d\\dT\\d\\d%3A\\d\\d%3A\\d\\d\\.\\d{3}%2B00%3A00";
  const Case cases[] = {
      {false,
       "https://beacon\\.example\\.com/imp/m1" +
           std::regex_replace(query, std::regex("[\\[\\]?]"), "\\$&"),
       "", ""},
      {true,
       "https://beacon\\.example\\.com/imp/m1\\?cb=" + cb + "&t=" + stamp +
           "&c=00%3A01%3A40\\.000&m=00%3A01%3A50\\.\\d{3}&a=00%3A00%3A00\\.000&p=2&s=1&n=1&u=-1&x=-"
           "1&again=\\1",
       "https://b\\.example\\.com/q1/m1\\?cb=" + cb + "&t=" + stamp +
           "&c=00%3A01%3A40\\.000&m=00%3A01%3A55\\.\\d{3}&a=00%3A00%3A05\\.\\d{3}&p=2&s=1&n=1&u=-1&"
           "x=-1&again=\\1",
       "https://b\\.example\\.com/click/m1\\?cb=" + cb + "&t=" + stamp +
           "&c=00%3A01%3A40\\.000&m=00%3A01%3A58\\.000&a=00%3A00%3A0\\d\\.\\d{3}&p=2&s=1&n=1&u=-"
           "1&x=-1&again=\\1"},
  };
  for (const auto& c : cases) {
    SessionHarness app(fourBreaks(query),
                       withOptions([&](auto& o) { o.setExpandVASTMacros(c.macros); }));
    ASSERT_TRUE(app.start());
    app.playUntil(100);
    app.takeBeacons();
    app.playUntil(118);
    clickTheAd(app);
    const auto beacons = app.takeBeacons();
    auto find = [&](const std::string& prefix) {
      for (const auto& url : beacons) {
        if (url.rfind(prefix, 0) == 0) return url;
      }
      return std::string();
    };
    const std::string impression = find("https://beacon.example.com/imp/m1");
    EXPECT_TRUE(std::regex_match(impression, std::regex(c.impression))) << impression;
    if (!c.macros) {
      // Off: byte for byte as the document wrote them.
      EXPECT_EQ(find("https://b.example.com/q1/m1"), "https://b.example.com/q1/m1" + query);
      EXPECT_EQ(find("https://b.example.com/click/m1"), "https://b.example.com/click/m1" + query);
      continue;
    }
    const std::string quartile = find("https://b.example.com/q1/m1");
    EXPECT_TRUE(std::regex_match(quartile, std::regex(c.quartile))) << quartile;
    const std::string click = find("https://b.example.com/click/m1");
    EXPECT_TRUE(std::regex_match(click, std::regex(c.click))) << click;
  }
}

TEST(SessionOptionsTest, MacrosTellTheBreaksApart) {
  const std::string query = "?p=[BREAKPOSITION]&s=[PODSEQUENCE]";
  SessionHarness app(fourBreaks(query), withOptions([](auto& o) { o.setExpandVASTMacros(true); }));
  ASSERT_TRUE(app.start());
  app.playUntil(361);
  Strings impressions;
  for (const auto& url : app.takeBeacons()) {
    if (url.rfind("https://beacon.example.com/imp/", 0) == 0) impressions.push_back(url.substr(31));
  }
  EXPECT_EQ(impressions, (Strings{"pre?p=1&s=1", "m1?p=2&s=1", "m2?p=2&s=1", "post?p=3&s=1"}));
}

TEST(SessionOptionsTest, MacrosTellTheAdsOfABreakApart) {
  // One mid-roll of two 20 s ads: stream 110-130 and 130-150.
  const std::string query = "?p=[BREAKPOSITION]&s=[PODSEQUENCE]&n=[ADCOUNT]";
  const std::string vmap = test::vmapDocument(
      breakOf("00:01:40", "00:00:20", "m1", query) + breakOf("00:01:40", "00:00:20", "m2", query),
      340, 300);
  struct Case {
    std::optional<double> jumpTo;  // the player's own seek, from 20 s into the stream
    Strings impressions;
  };
  const Case cases[] = {
      {std::nullopt, {"m1?p=2&s=1&n=1", "m2?p=2&s=2&n=2"}},
      {135, {"m2?p=2&s=2&n=1"}},
  };
  for (const auto& c : cases) {
    SessionHarness app(vmap, withOptions([](auto& o) { o.setExpandVASTMacros(true); }));
    ASSERT_TRUE(app.start());
    app.playUntil(20);
    if (c.jumpTo) {
      app.player->seek(MediaTime::makeWithSeconds(*c.jumpTo, 600), MediaTime::zero(),
                       MediaTime::zero(), [](bool) {});
      app.settle();
    }
    app.playUntil(160);
    Strings impressions;
    for (const auto& url : app.takeBeacons()) {
      if (url.rfind("https://beacon.example.com/imp/", 0) == 0) {
        impressions.push_back(url.substr(31));
      }
    }
    EXPECT_EQ(impressions, c.impressions) << c.jumpTo.value_or(-1);
  }
}

// The snapback switch -----------------------------------------------------------

TEST(SessionOptionsTest, WithoutSnapbackASeekOverTwoMidRollsGoesStraightThere) {
  struct Case {
    bool snapback;
    std::vector<bool> completionsAtOnce;
    double landed;
    Strings played;  // until content 260
  };
  const Case cases[] = {
      {true, {true}, 230.2, {"m2"}},
      {false, {true}, 300, {}},
  };
  for (const auto& c : cases) {
    SessionHarness app(fourBreaks(),
                       withOptions([&](auto& o) { o.setSnapbackEnabled(c.snapback); }));
    ASSERT_TRUE(app.start());
    app.playUntil(20);
    app.takeEvents();
    app.takeBeacons();
    std::vector<bool> completions;
    seek(app, 250, &completions);
    EXPECT_EQ(completions, c.completionsAtOnce) << c.snapback;
    EXPECT_NEAR(app.streamTime(), c.landed, 1e-6) << c.snapback;
    app.playUntil(300);
    EXPECT_EQ(adsEntered(app.takeEvents()), c.played) << c.snapback;
    EXPECT_EQ(completions.size(), c.snapback ? 2u : 1u) << c.snapback;
    EXPECT_TRUE(app.session->canSeek());
    // The skipped breaks stay unwatched, even under the skip policy: back
    // before them, both play.
    if (c.snapback) continue;
    EXPECT_EQ(oneShotCounts(app.takeBeacons()).count("https://beacon.example.com/imp/m1"), 0u);
  }
  SessionHarness app(fourBreaks(), withOptions([](auto& o) {
                       o.setSnapbackEnabled(false);
                       o.setPlayedBreaks(PlayedBreaksPolicy::skip);
                     }));
  ASSERT_TRUE(app.start());
  app.playUntil(20);
  seek(app, 250);
  app.playUntil(300);
  app.takeEvents();
  seek(app, 50);
  app.playUntil(300);
  EXPECT_EQ(adsEntered(app.takeEvents()), (Strings{"m1", "m2"}));
}

// Bookmarks ------------------------------------------------------------------------

TEST(SessionOptionsTest, ABookmarkPlaysTheEarlierBreaksAsTheOptionSays) {
  struct Case {
    double content;
    bool skipsEarlier;
    Strings played;   // until the bookmark's content time is reached
    double startsAt;  // stream time, once the break that plays first (if any) is over
  };
  const Case cases[] = {
      {150, true, {}, 180},       // after m1
      {150, false, {"m1"}, 180},  // the last earlier break, m1, first
      {100, true, {}, 130},       // at m1
      {100, false, {"m1"}, 130},  // m1 counts as earlier
      {250, false, {"m2"}, 300},  // after both: only m2
      {250, true, {}, 300},
      {50, false, {"pre"}, 60},  // the pre-roll is the only earlier one
      // Inside a break: what the session reported while m1 played, its
      // content position; m1 is then an earlier break like any other.
      {100.0, true, {}, 130},
      {0, true, {}, 10},  // at the pre-roll
      {0, false, {"pre"}, 10},
  };
  for (const auto& c : cases) {
    const std::string name = std::to_string(c.content) + (c.skipsEarlier ? " skips" : " plays");
    SessionHarness app(fourBreaks(), withOptions([&](auto& o) {
                         o.setBookmarkSkipsEarlierBreaks(c.skipsEarlier);
                       }));
    // Given as the session arrives, before its stream is ready.
    ASSERT_TRUE(app.start([&] {
      EXPECT_TRUE(app.session->startAtContentTime(MediaTime::makeWithSeconds(c.content, 600)))
          << name;
    }));
    app.settle();
    // Far enough to finish a break that plays first, not to reach another.
    app.playUntil(c.startsAt);
    EXPECT_NEAR(app.streamTime(), c.startsAt, 1e-6) << name;
    app.playUntil(c.startsAt + 5);
    EXPECT_NEAR(app.session->currentTime(), c.content + 5, 0.3) << name;
    EXPECT_EQ(adsEntered(app.takeEvents()), c.played) << name;
    // The breaks that did not play fired nothing.
    const auto counts = oneShotCounts(app.takeBeacons());
    for (const std::string id : {"pre", "m1", "m2"}) {
      const bool played = std::find(c.played.begin(), c.played.end(), id) != c.played.end();
      EXPECT_EQ(counts.count("https://beacon.example.com/imp/" + id), played ? 1u : 0u)
          << name << " " << id;
    }
  }
}

TEST(SessionOptionsTest, ABookmarkIsRefusedOncePlaybackHasBegun) {
  SessionHarness app(fourBreaks());
  ASSERT_TRUE(app.start());
  app.playUntil(1);
  EXPECT_FALSE(app.session->startAtContentTime(MediaTime::make(150, 1)));
  app.playUntil(2);
  EXPECT_NEAR(app.streamTime(), 2, 1e-6);
}

// Breaks already watched -------------------------------------------------------------

TEST(SessionOptionsTest, AfterABackwardSeekAWatchedBreakReplaysOrIsSkipped) {
  struct Case {
    PlayedBreaksPolicy policy;
    Strings entered;  // the second time through
    int seekEvents;
    int impressions;  // of m1, in the whole session
  };
  const Case cases[] = {
      {PlayedBreaksPolicy::replay, {"m1"}, 0, 2},
      {PlayedBreaksPolicy::skip, {}, 1, 1},
  };
  for (const auto& c : cases) {
    const bool skip = c.policy == PlayedBreaksPolicy::skip;
    SessionHarness app(fourBreaks(), withOptions([&](auto& o) { o.setPlayedBreaks(c.policy); }));
    ASSERT_TRUE(app.start());
    app.playUntil(140);
    seek(app, 50);
    app.takeEvents();
    // Playing into m1 again.
    app.playUntil(110.5);
    // Skipped: already past it, free to seek; replayed: in it.
    if (skip) {
      EXPECT_NEAR(app.streamTime(), 130.2, 1e-6);
    }
    EXPECT_EQ(app.session->canSeek(), skip);
    app.playUntil(140);
    const auto events = app.takeEvents();
    EXPECT_EQ(adsEntered(events), c.entered) << skip;
    EXPECT_EQ(count(events, test::shortEventName(kSKYLSSAILifecycleEventSeekPastPlayedBreak)),
              c.seekEvents)
        << skip;
    EXPECT_NEAR(app.session->currentTime(), 110, 0.5) << skip;
    EXPECT_EQ(count(app.transport->urls, "https://beacon.example.com/imp/m1"), c.impressions)
        << skip;
  }
}

// Every combination under the skip policy: a bookmark, a rewind out of a
// break half watched, seeks back and forth over breaks watched and not,
// never a one-shot beacon twice.
TEST(SessionOptionsTest, UnderSkipNoOneShotBeaconGoesOutTwiceInAnyCombination) {
  for (int bits = 0; bits < 8; ++bits) {
    const bool macros = bits & 1, snapback = bits & 2, bookmarkSkips = bits & 4;
    const std::string name = std::to_string(bits);
    SessionHarness app(fourBreaks("?cb=[CACHEBUSTING]"), withOptions([&](auto& o) {
                         o.setPlayedBreaks(PlayedBreaksPolicy::skip);
                         o.setExpandVASTMacros(macros);
                         o.setSnapbackEnabled(snapback);
                         o.setBookmarkSkipsEarlierBreaks(bookmarkSkips);
                       }));
    ASSERT_TRUE(
        app.start([&] { EXPECT_TRUE(app.session->startAtContentTime(MediaTime::make(50, 1))); }));
    app.playUntil(118);  // into m1, past its first quartile
    rewindTo(app, 105);  // out of it, unwatched: it plays again from its start
    app.playUntil(200);
    seek(app, 20);  // back before m1, now watched
    app.playUntil(150);
    seek(app, 250);  // forward over m2
    app.playUntil(300);
    seek(app, 90);
    app.playUntil(361);
    const auto counts = oneShotCounts(app.transport->urls);
    EXPECT_EQ(counts.count("https://beacon.example.com/imp/m1"), 1u) << name;
    for (const auto& [url, times] : counts) EXPECT_EQ(times, 1) << name << " " << url;
  }
}

TEST(SessionOptionsTest, UnderSkipARewindInsideAnAdDoesNotRepeatItsQuartiles) {
  for (const auto policy : {PlayedBreaksPolicy::replay, PlayedBreaksPolicy::skip}) {
    const bool skip = policy == PlayedBreaksPolicy::skip;
    SessionHarness app(fourBreaks(), withOptions([&](auto& o) { o.setPlayedBreaks(policy); }));
    ASSERT_TRUE(app.start());
    app.playUntil(118);  // m1's first quartile (5 s in) is behind
    rewindTo(app, 112);
    app.playUntil(125);
    EXPECT_EQ(count(app.transport->urls, "https://b.example.com/q1/m1"), skip ? 1 : 2) << skip;
  }
}

}  // namespace
}  // namespace skylark
