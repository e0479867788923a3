#include "SimulateCommand.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "PlayCommand.h"
#include "support/LoopbackServer.h"
#include "support/VMAPFixtures.h"

namespace skylark::tool {
namespace {

const std::string kSample = std::string(SKYLARK_SOURCE_DIR) + "/samples/vod-sample.vmap.xml";

std::vector<nlohmann::json> jsonLines(const std::string& text) {
  std::vector<nlohmann::json> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(nlohmann::json::parse(line));
  return lines;
}

// Tracker events as "TYPE ADID" and beacons by their path past the host,
// ad progress left out.
std::vector<std::string> eventsAndBeacons(const std::string& output) {
  std::vector<std::string> lines;
  for (const auto& line : jsonLines(output)) {
    if (line.value("event", "") == "AdProgress") continue;
    if (line.contains("event")) {
      lines.push_back(line["event"].get<std::string>() + " " + line.value("adId", ""));
    } else if (line.contains("beacon")) {
      lines.push_back(line["beacon"].get<std::string>().substr(27));
    }
  }
  return lines;
}

TEST(SimulateCommandTest, PrintsEventsAndTheBeaconsTheyCauseInOrder) {
  SimulateOptions options;
  options.source = kSample;
  options.json = true;
  options.until = 16;
  options.skips = {6};
  std::ostringstream out, err;
  ASSERT_EQ(runSimulate(options, out, err), 0) << err.str();
  // The session sends an event's beacons before anyone hears of the event.
  const std::vector<std::string> expected = {
      "EnterAdSequence ",   "imp?ad=pre-1",    "EnterAd pre-1",     "break?b=pre&e=start",
      "t?ad=pre-1&e=start", "t?ad=pre-1&e=q1", "t?ad=pre-1&e=skip", "ExitAd pre-1",
      "imp?ad=pre-2",       "EnterAd pre-2",   "t?ad=pre-2&e=start"};
  EXPECT_EQ(eventsAndBeacons(out.str()), expected) << out.str();
  const auto lines = jsonLines(out.str());
  const auto skipped = std::find_if(lines.begin(), lines.end(), [](const auto& line) {
    return line.value("event", "") == "ExitAd";
  });
  ASSERT_NE(skipped, lines.end());
  EXPECT_TRUE((*skipped)["skipped"].get<bool>());
  // The button was pressed at 6 s; the session lands just past the ad.
  EXPECT_GT((*skipped)["t"].get<double>(), 15);
  EXPECT_EQ(lines.back()["t"], 16);
}

TEST(SimulateCommandTest, ASeekIsAPlayerSeekAndTheLastUpdateIsTheStreamsEnd) {
  // Two 30 s breaks, at the start and at the end of a 100 s stream; the
  // complete beacon of each ad is named after it.
  const auto complete = [](const std::string& id) {
    return "<TrackingEvents><Tracking event=\"complete\">https://beacon.example.com/complete/" +
           id + "</Tracking></TrackingEvents>";
  };
  const std::string path = ::testing::TempDir() + "simulate-seek.xml";
  std::ofstream(path) << test::vmapDocument(
      test::adBreak("start", "00:00:30", "pre", complete("pre")) +
          test::adBreak("end", "00:00:30", "post", complete("post")),
      100, 40);
  SimulateOptions options;
  options.source = path;
  options.json = true;
  options.step = 7;  // 100 is no multiple of it
  options.seeks = {{14, 72}};
  std::ostringstream out, err;
  ASSERT_EQ(runSimulate(options, out, err), 0) << err.str();
  for (const auto& line : jsonLines(out.str())) {
    if (line["t"] == 79) {
      EXPECT_EQ(line["content"], 40);  // inside the post-roll: the content has ended
    }
  }
  // Steps of 7 s are too long for offset beacons (break start) to fire.
  // The player's jump leaves the pre-roll (the analytics complete an ad
  // left unskipped) and lands in the post-roll; the last step, at exactly
  // 100 s, completes it.
  const std::vector<std::string> expected = {
      "EnterAdSequence ", "imp/pre",         "EnterAd pre",      "complete/pre",   "break/end/pre",
      "ExitAd pre",       "ExitAdSequence ", "EnterAdSequence ", "imp/post",       "EnterAd post",
      "complete/post",    "break/end/post",  "ExitAd post",      "ExitAdSequence "};
  EXPECT_EQ(eventsAndBeacons(out.str()), expected) << out.str();
  EXPECT_EQ(jsonLines(out.str()).back()["t"], 100);
  std::remove(path.c_str());
}

TEST(SimulateCommandTest, PlayingBackwardsStartsAtTheEndAndRewindsOverTheBreaks) {
  SimulateOptions options;
  options.source = kSample;
  options.json = true;
  options.rate = -4;
  options.step = 1;
  std::ostringstream out, err;
  ASSERT_EQ(runSimulate(options, out, err), 0) << err.str();
  std::vector<std::string> events;
  for (const auto& line : jsonLines(out.str())) {
    if (line.contains("event")) events.push_back(line["event"]);
  }
  // Rewinding crosses the post-roll and the mid-roll without entering an
  // ad, and stops at the end of the pre-roll.
  EXPECT_EQ(events, (std::vector<std::string>{
                        "EnterAdSequenceWhileRewinding", "ExitAdSequenceWhileRewinding",
                        "EnterAdSequenceWhileRewinding", "ExitAdSequenceWhileRewinding"}))
      << out.str();
  EXPECT_NEAR(jsonLines(out.str()).back()["t"].get<double>(), 30, 0.5);
}

TEST(SimulateCommandTest, FireSendsEveryBeacon) {
  test::LoopbackServer sink([](httplib::Server& s) {
    s.Get(R"(/b/.*)", [](const httplib::Request&, httplib::Response& r) { r.status = 204; });
  });
  std::string vmap = test::vmapDocument(test::adBreak("start", "00:00:04", "a"), 10, 6);
  for (const std::string host :
       {"https://beacon.example.com/imp/", "https://beacon.example.com/break/start/",
        "https://beacon.example.com/break/end/"}) {
    vmap.replace(vmap.find(host), host.size(), sink.url("/b/") + std::to_string(host.size()) + "-");
  }
  const std::string path = ::testing::TempDir() + "simulate-fire.xml";
  std::ofstream(path) << vmap;
  SimulateOptions options;
  options.source = path;
  options.fire = true;
  options.json = true;
  std::ostringstream out, err;
  ASSERT_EQ(runSimulate(options, out, err), 0) << err.str();
  EXPECT_TRUE(sink.waitForRequests(3, std::chrono::seconds(5)));
  EXPECT_EQ(sink.requests().size(), 3u) << out.str();  // impression, break start, break end
  // What became of them closes the output: every one answered.
  const auto last = jsonLines(out.str()).back();
  ASSERT_TRUE(last.contains("deliveryLedger")) << out.str();
  int answered = 0;
  for (const auto& entry : last["deliveryLedger"]) answered += entry["answered2xx"].get<int>();
  EXPECT_EQ(answered, 3) << last.dump();
  std::remove(path.c_str());
}

// One ad of a post-roll pod: each is a break of its own at "end", in order.
struct PostRollAd {
  std::string id;
  int seconds;
  std::optional<int> skipOffset;
};

std::string postRollDocument(const std::vector<PostRollAd>& ads, int contentSeconds) {
  std::string breaks;
  int payload = contentSeconds;
  for (const auto& ad : ads) {
    payload += ad.seconds;
    std::string tracking;
    for (const char* event : {"start", "complete", "skip"}) {
      tracking += fmt::format(R"(<Tracking event="{}">https://beacon.example.com/{}/{}</Tracking>)",
                              event, ad.id, event);
    }
    breaks += fmt::format(
        R"(<vmap:AdBreak timeOffset="end" breakType="linear" breakId="post-{0}">
  <vmap:AdSource><vmap:VASTAdData><VAST version="3.0"><Ad id="{0}"><InLine>
    <AdTitle>{0}</AdTitle><Impression>https://beacon.example.com/{0}/impression</Impression>
    <Creatives><Creative><Linear{1}><Duration>00:00:{2:02}</Duration>
      <TrackingEvents>{3}</TrackingEvents></Linear></Creative></Creatives>
  </InLine></Ad></VAST></vmap:VASTAdData></vmap:AdSource>
</vmap:AdBreak>
)",
        ad.id, ad.skipOffset ? fmt::format(R"( skipoffset="00:00:{:02}")", *ad.skipOffset) : "",
        ad.seconds, tracking);
  }
  return R"(<vmap:VMAP xmlns:vmap="http://www.iab.net/videosuite/vmap" xmlns:sk="http://example.com/sk" version="1.0">
)" + breaks +
         fmt::format(R"(<vmap:Extensions><sk:Skylark contenturi="https://cdn.example.com/s.m3u8"
    payloadlength="{}" contentlength="{}"/></vmap:Extensions></vmap:VMAP>)",
                     payload, contentSeconds);
}

std::vector<std::string> beaconsOf(const std::string& output) {
  std::vector<std::string> beacons;
  for (const auto& line : jsonLines(output)) {
    if (line.contains("beacon")) beacons.push_back(line["beacon"].get<std::string>().substr(27));
  }
  return beacons;
}

bool contains(const std::vector<std::string>& list, const std::string& item) {
  return std::find(list.begin(), list.end(), item) != list.end();
}

// Both commands play through the same session, so they agree on what a
// skip in a post-roll sends: the skip, never the ad's complete, and the
// stream plays to its end.
TEST(SimulateCommandTest, AgreesWithPlayOnASkippedPostRoll) {
  struct Case {
    std::string name;
    std::vector<PostRollAd> ads;  // after 20 s of content
    double skipAt;
    std::vector<std::string> skipped, completed;
  };
  const std::vector<Case> cases = {
      {"the only ad", {{"p1", 10, 2}}, 23, {"p1"}, {}},
      {"the last ad of a pod", {{"p1", 6, {}}, {"p2", 10, 2}}, 29, {"p2"}, {"p1"}},
      {"the first ad of a pod", {{"p1", 10, 2}, {"p2", 6, {}}}, 23, {"p1"}, {"p2"}},
      {"pressed before the button shows", {{"p1", 10, 4}}, 20.5, {"p1"}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = ::testing::TempDir() + "skylark-skipped-post-roll.xml";
    std::ofstream(path) << postRollDocument(c.ads, 20);
    double payload = 20;
    for (const auto& ad : c.ads) payload += ad.seconds;

    SimulateOptions simulate;
    simulate.source = path;
    simulate.json = true;
    simulate.skips = {c.skipAt};
    std::ostringstream simOut, simErr;
    ASSERT_EQ(runSimulate(simulate, simOut, simErr), 0) << simErr.str();

    PlayOptions play;
    play.source = path;
    play.json = true;
    play.skips = {c.skipAt};
    std::ostringstream playOut, playErr;
    ASSERT_EQ(runPlay(play, playOut, playErr), 0) << playErr.str();

    const auto beacons = beaconsOf(simOut.str());
    EXPECT_EQ(beacons, beaconsOf(playOut.str())) << simOut.str() << playOut.str();
    for (const auto& id : c.skipped) {
      EXPECT_TRUE(contains(beacons, id + "/skip")) << id;
      EXPECT_FALSE(contains(beacons, id + "/complete")) << id;
    }
    for (const auto& id : c.completed) {
      EXPECT_TRUE(contains(beacons, id + "/complete")) << id;
      EXPECT_FALSE(contains(beacons, id + "/skip")) << id;
    }
    // The stream ends: the application hears End, and the last ad event
    // closes the post-roll at the stream's end.
    const auto playLines = jsonLines(playOut.str());
    EXPECT_TRUE(std::any_of(playLines.begin(), playLines.end(), [](const auto& line) {
      return line.value("lifecycle", "") == "kSKYLPlaybackSessionLifecycleEventEnd";
    })) << playOut.str();
    const auto events = eventsAndBeacons(simOut.str());
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back(), "ExitAdSequence ") << simOut.str();
    EXPECT_EQ(jsonLines(simOut.str()).back()["t"], payload) << simOut.str();
    std::remove(path.c_str());
  }
}

}  // namespace
}  // namespace skylark::tool
