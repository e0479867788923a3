#include "live2/SKYLSSAILive2Coordinator.h"

#include <set>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <httplib.h>
#include "environment/SessionEnvironment.h"
#include "tracking/SKYLVelaAnalyticsDigester.h"

#include "host/SKYLHostLog.h"
#include "live2/SKYLSSAILive2SessionClient.h"
#include "live2/SKYLSSAILive2Time.h"
#include "live2/SKYLSSAILive2Timeline.h"
#include "live2/SKYLSSAILive2TrackingResponse.h"
#include "support/LogCapture.h"
#include "support/MockLiveService.h"
#include "support/RecordingTransport.h"

namespace skylark {
namespace {

using namespace std::chrono_literals;
using test::LoopbackServer;
using test::MockLiveService;

SystemTime at(const std::string& time) {
  return *SKYLSSAILive2ParseProgramDateTime("2024-05-01T" + time + "Z");
}

// A beacon sink: /b/NAME answers 204; /gone/NAME 404; /busy/NAME 503.
std::unique_ptr<LoopbackServer> beaconSink() {
  return std::make_unique<LoopbackServer>([](httplib::Server& s) {
    s.Get(R"(/b/.*)", [](const httplib::Request&, httplib::Response& r) { r.status = 204; });
    s.Get(R"(/gone/.*)", [](const httplib::Request&, httplib::Response& r) { r.status = 404; });
    s.Get(R"(/busy/.*)", [](const httplib::Request&, httplib::Response& r) { r.status = 503; });
  });
}

// An ad whose events of each type point at BASE/b/ADID-TYPE.
std::string adJSON(const std::string& base, const std::string& id, double start, double duration,
                   const std::string& date) {
  std::string events;
  for (const char* type : {"impression", "start", "creativeView", "firstQuartile", "midpoint",
                           "thirdQuartile", "complete", "pause", "resume", "clickTracking"}) {
    if (!events.empty()) events += ",";
    events += fmt::format(R"({{"eventType": "{}", "beaconUrls": ["{}"]}})", type,
                          base + "/b/" + id + "-" + type);
  }
  return fmt::format(
      R"({{"adId": "{}", "adTitle": "Ad {}", "startTimeInSeconds": {}, "durationInSeconds": {},
          "adProgramDateTime": "2024-05-01T{}Z", "trackingEvents": [{}],
          "adVerifications": [{{"vendor": "v", "javaScriptResource": "https://v.example.com/{}.js",
                                "verificationParameters": "p"}}],
          "companionAds": [{{"id": "c", "width": 300, "height": 250,
                             "staticResource": "https://img.example.com/c.png"}}]}})",
      id, id, start, duration, date, events, id);
}

// Avail a1: ads x [10:00:00, +30 s) and y [10:00:30, +30 s).
// Avail a2 (from 10:01:00, 60 s): ads p, q and r of 10 s with a 30 s slate after them.
// Avail a3: ad z [10:03:00, +30 s).
std::string trackingAnswer(const std::string& base) {
  const auto& s = base;
  return fmt::format(
      R"({{"avails": [
        {{"availId": "a1", "startTimeInSeconds": 0, "durationInSeconds": 60,
          "ads": [{}, {}]}},
        {{"availId": "a2", "startTimeInSeconds": 60, "durationInSeconds": 60,
          "ads": [{}, {}, {}]}},
        {{"availId": "a3", "startTimeInSeconds": 180, "durationInSeconds": 30, "ads": [{}]}}]}})",
      adJSON(s, "x", 0, 30, "10:00:00"), adJSON(s, "y", 30, 30, "10:00:30"),
      adJSON(s, "p", 60, 10, "10:01:00"), adJSON(s, "q", 70, 10, "10:01:10"),
      adJSON(s, "r", 80, 10, "10:01:20"), adJSON(s, "z", 180, 30, "10:03:00"));
}

// A coordinator whose timeline holds the answer above, merged directly: the
// session is never opened, nothing is polled.
std::shared_ptr<SKYLSSAILive2Coordinator> coordinatorWith(
    std::shared_ptr<BeaconTransport> transport, const std::string& beaconBase) {
  SKYLSSAILive2SessionController::Dependencies dependencies;
  dependencies.timeline = std::make_shared<SKYLSSAILive2Timeline>();
  auto response = SKYLSSAILive2TrackingResponse::decode(trackingAnswer(beaconBase));
  EXPECT_TRUE(response.ok());
  dependencies.timeline->merge(response.value());
  // As a session would: beacons go through its digester and the
  // environment's live transport (the given one, with retries on top).
  const auto environment = SessionEnvironment::make(
      {std::make_shared<ManualSessionClock>(SystemTime{}), nullptr, std::move(transport)});
  return SKYLSSAILive2Coordinator::create(
      *URL::parse("https://live.example.com/v1/session"), environment,
      std::make_shared<SKYLVelaAnalyticsDigester>(*environment, environment->liveBeaconTransport),
      std::move(dependencies));
}

// Beacons are recorded as they are handed over (synchronously, on the
// caller's thread), so every count is final when a call returns.
class SKYLSSAILive2CoordinatorTest : public ::testing::Test {
 protected:
  void TearDown() override { coordinator_->stop(); }

  // How often each beacon was handed over, by ADID-TYPE.
  std::map<std::string, int> received() const {
    std::map<std::string, int> counts;
    for (const auto& url : transport_->urls) ++counts[url.substr(std::string(kBase).size() + 3)];
    return counts;
  }

  static constexpr const char* kBase = "https://b.example.com";
  std::shared_ptr<test::RecordingTransport> transport_ =
      std::make_shared<test::RecordingTransport>();
  std::shared_ptr<SKYLSSAILive2Coordinator> coordinator_ = coordinatorWith(transport_, kBase);
};

using Counts = std::map<std::string, int>;

TEST_F(SKYLSSAILive2CoordinatorTest, JumpingIntoTheLastSecondThenPastTheEndFiresEachBeaconOnce) {
  coordinator_->update(at("09:59:59"));
  coordinator_->update(at("10:00:29.500"));
  coordinator_->update(at("10:00:29.500"));
  EXPECT_EQ(received(), (Counts{{"x-impression", 1},
                                {"x-start", 1},
                                {"x-creativeView", 1},
                                {"x-firstQuartile", 1},
                                {"x-midpoint", 1},
                                {"x-thirdQuartile", 1}}));
  // Directly into the next ad: x completes, y starts.
  coordinator_->update(at("10:00:30.250"));
  const auto counts = received();
  EXPECT_EQ(counts.at("x-complete"), 1);
  EXPECT_EQ(counts.at("y-impression"), 1);
  EXPECT_EQ(counts.count("y-firstQuartile"), 0u);
}

TEST_F(SKYLSSAILive2CoordinatorTest, AnAdFollowedByContentCompletesWhenThePlayheadLeavesIt) {
  coordinator_->update(at("10:03:29"));
  coordinator_->update(at("10:03:31"));  // past z, nothing plays
  coordinator_->update(at("10:03:32"));
  const auto counts = received();
  EXPECT_EQ(counts.at("z-complete"), 1);
  EXPECT_EQ(counts.size(), 7u);
}

TEST_F(SKYLSSAILive2CoordinatorTest, ClicksOncePausesEveryTime) {
  coordinator_->fireClickTracking("x");
  coordinator_->fireClickTracking("x");
  coordinator_->fireAdPaused("x");
  coordinator_->fireAdPaused("x");
  coordinator_->fireAdResumed("x");
  coordinator_->fireClickTracking("missing");
  EXPECT_EQ(received(), (Counts{{"x-clickTracking", 1}, {"x-pause", 2}, {"x-resume", 1}}));
}

TEST_F(SKYLSSAILive2CoordinatorTest, AdInformationCountsAndCountdowns) {
  EXPECT_EQ(coordinator_->presentableAdCount("a2"), 3);  // the slate is no ad
  const auto info = coordinator_->presentableAdInfo(at("10:00:10"));
  ASSERT_TRUE(info);
  EXPECT_EQ(info->adId, "x");
  EXPECT_EQ(info->title, "Ad x");
  EXPECT_EQ(info->endTime(), 30);
  ASSERT_EQ(info->companions.size(), 1u);
  EXPECT_EQ(info->companions[0].staticResource->absoluteString(), "https://img.example.com/c.png");
  EXPECT_EQ(info->clickTrackingURLs.size(), 1u);
  EXPECT_FALSE(coordinator_->presentableAdInfo(at("10:01:35")));  // the slate
  EXPECT_EQ(coordinator_->availId(at("10:01:15")), "a2");
  EXPECT_EQ(coordinator_->ads("a2").size(), 3u);

  struct Case {
    const char* time;
    double inAd, inBreak;
    int64_t index;
  };
  const Case cases[] = {{"10:01:00", 10, 30, 1}, {"10:01:12", 8, 18, 2}, {"10:01:29", 1, 1, 3}};
  for (const auto& c : cases) {
    const auto countdown = coordinator_->countdown(at(c.time));
    ASSERT_TRUE(countdown) << c.time;
    EXPECT_DOUBLE_EQ(countdown->remainingInCurrentAd, c.inAd) << c.time;
    EXPECT_DOUBLE_EQ(countdown->remainingInBreak, c.inBreak) << c.time;
    EXPECT_EQ(countdown->adIndex, c.index) << c.time;
    EXPECT_EQ(countdown->adCount, 3) << c.time;
  }
  const auto verifications = coordinator_->verifications("x");
  ASSERT_EQ(verifications.size(), 1u);
  EXPECT_EQ(verifications[0].resource.absoluteString(), "https://v.example.com/x.js");
  EXPECT_EQ(verifications[0].verificationParameters, "p");
}

TEST_F(SKYLSSAILive2CoordinatorTest, SeeksOverWholeBreaksLandAtTheLastOne) {
  // Breaks: a2 10:01:00-10:01:30 and a3 10:03:00-10:03:30 (a1 lies before 10:00:40).
  EXPECT_EQ(coordinator_->seekTargetDate(at("10:00:40"), at("10:05:00")), at("10:03:00"));
  EXPECT_EQ(coordinator_->seekTargetDate(at("10:00:40"), at("10:03:10")), at("10:01:00"));
  EXPECT_FALSE(coordinator_->seekTargetDate(at("10:00:40"), at("10:00:50")));
  EXPECT_FALSE(coordinator_->seekTargetDate(at("10:05:00"), at("10:00:40")));
}

TEST_F(SKYLSSAILive2CoordinatorTest, ConcurrentUpdatesFireEachBeaconOnce) {
  std::vector<std::thread> players;
  for (int p = 0; p < 2; ++p) {
    players.emplace_back([this] {
      for (int ms = 0; ms <= 31000; ms += 250) {
        coordinator_->update(at("10:00:00") + std::chrono::milliseconds(ms));
      }
    });
  }
  for (auto& player : players) player.join();
  for (const auto& [name, count] : received()) EXPECT_EQ(count, 1) << name;
}

TEST_F(SKYLSSAILive2CoordinatorTest, AfterStopExplicitCallsAndUpdatesStillSend) {
  coordinator_->stop();
  coordinator_->fireAdPaused("x");
  coordinator_->fireClickTracking("x");
  coordinator_->update(at("10:00:00.500"));
  EXPECT_EQ(received(), (Counts{{"x-pause", 1},
                                {"x-clickTracking", 1},
                                {"x-impression", 1},
                                {"x-start", 1},
                                {"x-creativeView", 1}}));
}

// End to end over loopback HTTP: beacons handed to the network outlive the
// coordinator that sent them.
TEST(SKYLSSAILive2CoordinatorBeaconsTest, BeaconsHandedToTheNetworkOutliveTheCoordinator) {
  const auto sink = beaconSink();
  auto coordinator = coordinatorWith(nullptr, sink->url(""));
  coordinator->fireAdPaused("x");
  coordinator->fireAdResumed("x");
  coordinator->stop();
  coordinator.reset();
  ASSERT_TRUE(sink->waitForRequests(2, 5s));
  std::multiset<std::string> paths;
  for (const auto& request : sink->requests()) paths.insert(request.path);
  EXPECT_EQ(paths, (std::multiset<std::string>{"/b/x-pause", "/b/x-resume"}));
}

TEST(SKYLSSAILive2CoordinatorStartTest, TheCompletionRunsOnceOnTheMainQueue) {
  MockLiveService service;
  service.scriptTracking({{500, "", 0}});  // every poll fails after the session opened
  const auto clock = std::make_shared<ManualSessionClock>(SystemTime{});
  const auto environment = SessionEnvironment::make({clock, nullptr, nullptr});
  const auto digester =
      std::make_shared<SKYLVelaAnalyticsDigester>(*environment, environment->liveBeaconTransport);
  auto coordinator =
      SKYLSSAILive2Coordinator::create(*URL::parse(service.sessionURL()), environment, digester);
  std::vector<std::string> calls;
  coordinator->start({}, [&](Result<URL> manifest) {
    EXPECT_TRUE(Dispatch::main().isCurrent());
    calls.push_back(manifest.ok() ? "manifest" : "error " + manifest.error().description());
  });
  ASSERT_TRUE(Dispatch::main().runUntil([&] { return !calls.empty(); }, 5s));
  // Three failing polls later, the completion has still been called once.
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (service.pollTargets().size() < 3 && std::chrono::steady_clock::now() < deadline) {
    clock->advance(5);  // a tick while a poll is in flight is skipped
    std::this_thread::yield();
  }
  ASSERT_GE(service.pollTargets().size(), 3u);
  Dispatch::main().runUntilIdle();
  coordinator->stop();
  EXPECT_EQ(calls, std::vector<std::string>{"manifest"});

  // A session that cannot open reports why, once.
  MockLiveService refusing;
  refusing.setSessionAnswer({503, "busy", 0});
  auto failing =
      SKYLSSAILive2Coordinator::create(*URL::parse(refusing.sessionURL()), environment, digester);
  calls.clear();
  failing->start(
      {}, [&](Result<URL> manifest) { calls.push_back(manifest.ok() ? "manifest" : "error"); });
  ASSERT_TRUE(Dispatch::main().runUntil([&] { return !calls.empty(); }, 5s));
  Dispatch::main().runUntilIdle();
  EXPECT_EQ(calls, std::vector<std::string>{"error"});
}

}  // namespace
}  // namespace skylark
