#include <atomic>
#include <chrono>
#include <ctime>
#include <map>
#include <sstream>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "MonitorServer.h"
#include "PlayCommand.h"
#include "support/EventReader.h"
#include "support/LoopbackServer.h"
#include "support/MockLiveService.h"

namespace skylark::tool {
namespace {

// The newer live service on loopback, whose one ad, x, begins about 1.5 s
// into the stream and lasts 10 s; its beacons go to a loopback sink. The
// tool's newer live path runs on the wall clock (the service answers in real
// time), so each run is a few seconds of stream.
class PlayLiveTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // The playhead's program date runs the delay behind the clock.
    const auto adStart =
        std::chrono::time_point_cast<std::chrono::milliseconds>(std::chrono::system_clock::now()) -
        std::chrono::milliseconds(static_cast<int64_t>((kPlayheadDelay - 1.5) * 1000));
    const std::time_t seconds = std::chrono::system_clock::to_time_t(adStart);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", std::gmtime(&seconds));
    const auto millis = adStart.time_since_epoch().count() % 1000;
    std::string events;
    for (const char* type : {"impression", "start", "complete", "pause", "resume"}) {
      events += fmt::format(R"({}{{"eventType": "{}", "beaconUrls": ["{}"]}})",
                            events.empty() ? "" : ",", type, beaconURL(type));
    }
    service_.scriptTracking(
        {{200,
          fmt::format(R"({{"avails": [{{"availId": "a1", "durationInSeconds": 10, "ads": [
              {{"adId": "x", "adTitle": "Ferries", "durationInSeconds": 10,
                "adProgramDateTime": "{}.{:03}Z", "trackingEvents": [{}]}}]}}]}})",
                      date, millis, events),
          0}});
  }

  std::string beaconURL(const std::string& type) const { return sink_.url("/b/x/" + type); }

  PlayOptions options(bool json, bool fire) const {
    PlayOptions options;
    options.source = service_.sessionURL();
    options.token = "eyJhbGciOiJub25lIn0.eyJzdWIiOiJ0In0.c2ln";
    options.playheadDelay = kPlayheadDelay;
    options.json = json;
    options.fire = fire;
    options.brief = true;
    options.until = 3;
    return options;
  }

  // The beacons the run reported, in order, from its text or JSON lines.
  static std::vector<std::string> reportedBeacons(const std::string& output, bool json) {
    std::vector<std::string> beacons;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);) {
      if (json) {
        const auto object = nlohmann::json::parse(line);
        if (object.contains("beacon")) beacons.push_back(object["beacon"]);
        continue;
      }
      const auto at = line.find("  beacon ");
      if (at != std::string::npos) beacons.push_back(line.substr(at + 9));
    }
    return beacons;
  }

  static std::vector<nlohmann::json> jsonLines(const std::string& output) {
    std::vector<nlohmann::json> lines;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);) lines.push_back(nlohmann::json::parse(line));
    return lines;
  }

  static constexpr double kPlayheadDelay = 10;
  // The sink answers 503 to this many impression requests first.
  std::atomic<int> impressionsToRefuse_{0};
  test::LoopbackServer sink_{[this](httplib::Server& s) {
    s.Get(R"(/b/.*)", [this](const httplib::Request& request, httplib::Response& r) {
      const bool refuse =
          request.path == "/b/x/impression" && impressionsToRefuse_.fetch_sub(1) > 0;
      r.status = refuse ? 503 : 204;
    });
  }};
  test::MockLiveService service_;
};

TEST_F(PlayLiveTest, WithoutFireNothingIsSentAndEveryLiveBeaconIsReported) {
  for (const bool json : {false, true}) {
    SCOPED_TRACE(json ? "JSON" : "text");
    std::ostringstream out, err;
    ASSERT_EQ(runPlay(options(json, false), out, err), 0) << err.str();
    const std::string notSent = json ? "" : " (not sent)";
    EXPECT_EQ(
        reportedBeacons(out.str(), json),
        (std::vector<std::string>{beaconURL("impression") + notSent, beaconURL("start") + notSent}))
        << out.str();
    // Handed to the network, a beacon would be at the sink long before the
    // run's last seconds are over.
    EXPECT_TRUE(sink_.requests().empty());
  }
}

TEST_F(PlayLiveTest, WithFireTheDeliveryLedgerListsTheLiveAdsBeacons) {
  std::ostringstream out, err;
  ASSERT_EQ(runPlay(options(true, true), out, err), 0) << err.str();
  ASSERT_TRUE(sink_.waitForRequests(2, std::chrono::seconds(5)));
  const auto last = jsonLines(out.str()).back();
  ASSERT_TRUE(last.contains("deliveryLedger")) << out.str();
  std::vector<std::string> delivered;
  for (const auto& entry : last["deliveryLedger"]) {
    delivered.push_back(fmt::format("{} {} {}/{}", entry["adId"].get<std::string>(),
                                    entry["type"].get<std::string>(), entry["handed"].get<int>(),
                                    entry["answered2xx"].get<int>()));
  }
  std::sort(delivered.begin(), delivered.end());
  EXPECT_EQ(delivered, (std::vector<std::string>{"x impression 1/1", "x start 1/1"})) << out.str();
}

TEST_F(PlayLiveTest, APauseInsideALiveAdIsTheAdsPauseAndFiresItsBeaconsOnce) {
  auto play = options(true, true);
  play.pauses = {{2.25, 0.5}};
  std::ostringstream out, err;
  ASSERT_EQ(runPlay(play, out, err), 0) << err.str();
  std::vector<std::string> events;
  for (const auto& line : jsonLines(out.str())) {
    if (!line.contains("lifecycle")) continue;
    const std::string type = line["lifecycle"].get<std::string>().substr(34);
    // From the ad on, a host pause and play are the ad's.
    if (type == "AdEnter" || !events.empty()) {
      if (type != "AdProgress") events.push_back(type + " " + line.value("adId", ""));
    }
  }
  EXPECT_EQ(events, (std::vector<std::string>{"AdEnter x", "AdPause x", "AdResume x"}))
      << out.str();
  EXPECT_EQ(reportedBeacons(out.str(), true),
            (std::vector<std::string>{beaconURL("impression"), beaconURL("start"),
                                      beaconURL("pause"), beaconURL("resume")}));
  ASSERT_TRUE(sink_.waitForRequests(4, std::chrono::seconds(5)));
  std::vector<std::string> received;
  for (const auto& request : sink_.requests()) received.push_back(request.path);
  std::sort(received.begin(), received.end());
  EXPECT_EQ(received, (std::vector<std::string>{"/b/x/impression", "/b/x/pause", "/b/x/resume",
                                                "/b/x/start"}));
}

// The events a monitor page received, in order: (event, data) of each.
std::vector<std::pair<std::string, nlohmann::json>> monitorEvents(const std::string& text) {
  std::vector<std::pair<std::string, nlohmann::json>> events;
  for (size_t at = 0; (at = text.find("event: ", at)) != std::string::npos;) {
    const size_t data = text.find("\ndata: ", at);
    const size_t end = text.find("\n\n", data);
    if (data == std::string::npos || end == std::string::npos) break;
    const std::string name = text.substr(at + 7, data - at - 7);
    const auto value = nlohmann::json::parse(text.substr(data + 7, end - data - 7));
    if (name == "snapshot") {
      for (const auto& item : value) events.emplace_back(item["event"], item["data"]);
    } else {
      events.emplace_back(name, value);
    }
    at = end;
  }
  return events;
}

TEST_F(PlayLiveTest, TheMonitorShowsEachTrackingPollAndWhatBecameOfEachBeacon) {
  impressionsToRefuse_ = 1;  // the live transport retries it a second later
  MonitorServer monitor;
  std::string why;
  ASSERT_TRUE(monitor.start({"127.0.0.1", 0}, &why)) << why;
  auto play = options(true, true);
  play.brief = false;
  play.monitor = &monitor;
  std::ostringstream out, err;
  ASSERT_EQ(runPlay(play, out, err), 0) << err.str();

  // The run's own lines tell of the poll that brought the ad.
  std::vector<std::string> polls;
  for (const auto& line : jsonLines(out.str())) {
    if (!line.contains("poll")) continue;
    polls.push_back(fmt::format(
        "{} {} {} {}", line["poll"].get<std::string>(), line["availsAnswered"].get<int>(),
        line["timelineChanged"].get<bool>(), line["availsKnown"].get<int>()));
  }
  ASSERT_FALSE(polls.empty()) << out.str();
  EXPECT_EQ(polls.front().substr(polls.front().find(' ')), " 1 true 1") << out.str();

  // A page that connects after the run gets the same polls, and each
  // beacon's row with its final outcome: the impression after two requests.
  test::EventReader page(monitor.port());
  std::map<std::string, nlohmann::json> beacons;  // by type, the latest row
  size_t pagePolls = 0;
  nlohmann::json timeline;
  const bool settled = page.waitUntil([&](const std::string& text) {
    beacons.clear();
    pagePolls = 0;
    for (const auto& [event, data] : monitorEvents(text)) {
      if (event == "beacon") beacons[data["type"].get<std::string>()] = data;
      if (event == "poll") ++pagePolls;
      if (event == "timeline") timeline = data["timeline"];
    }
    return beacons.size() == 2 && beacons["impression"].contains("attempts") &&
           beacons["start"].contains("attempts");
  });
  ASSERT_TRUE(settled) << page.text();
  EXPECT_EQ(pagePolls, polls.size());
  // The live ad is drawn where it plays on the stream: 1.5 s in, for 10 s.
  ASSERT_EQ(timeline["adSequences"].size(), 1u) << timeline.dump();
  const auto& drawn = timeline["adSequences"][0]["ads"][0];
  EXPECT_EQ(drawn["adId"], "x");
  EXPECT_NEAR(drawn["beginTime"].get<double>(), 1.5, 1.0) << drawn.dump();
  EXPECT_NEAR(drawn["endTime"].get<double>() - drawn["beginTime"].get<double>(), 10, 1e-6);
  for (const auto& [type, row] : beacons) {
    SCOPED_TRACE(type);
    EXPECT_EQ(row["url"], beaconURL(type));
    EXPECT_EQ(row["ad"], "x");
    EXPECT_EQ(row["outcome"], "2xx");
    EXPECT_EQ(row["result"], "HTTP 204");
    EXPECT_EQ(row["attempts"], type == "impression" ? 2 : 1);
    // The retry waits a second on the session's clock before its request.
    EXPECT_GE(row["ms"].get<double>(), type == "impression" ? 1000.0 : 0.0);
  }
  const auto last = jsonLines(out.str()).back();
  ASSERT_TRUE(last.contains("deliveryLedger")) << out.str();
  for (const auto& entry : last["deliveryLedger"]) {
    EXPECT_EQ(entry["retried"], entry["type"] == "impression" ? 1 : 0) << entry.dump();
  }
}

}  // namespace
}  // namespace skylark::tool
