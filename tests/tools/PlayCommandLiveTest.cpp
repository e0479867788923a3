#include <chrono>
#include <ctime>
#include <sstream>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "PlayCommand.h"
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
  test::LoopbackServer sink_{[](httplib::Server& s) {
    s.Get(R"(/b/.*)", [](const httplib::Request&, httplib::Response& r) { r.status = 204; });
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

}  // namespace
}  // namespace skylark::tool
