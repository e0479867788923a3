#include "tracking/SKYLVelaAnalyticsSession.h"

#include <chrono>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include "support/LoopbackServer.h"
#include "support/TimelineFixtures.h"
#include "support/VMAPFixtures.h"
#include "vmap/SKYLVelaVMAPParser.h"

namespace skylark {
namespace {

using namespace std::chrono_literals;
using test::seconds;

// A beacon sink on loopback, a 30 s ad at [10, 40) whose beacons point at
// it, and a tracker with its analytics session.
class AnalyticsTest : public ::testing::Test {
 protected:
  AnalyticsTest()
      : sink_([](httplib::Server& s) {
          s.Get(R"(/b/.*)", [](const httplib::Request&, httplib::Response& r) { r.status = 204; });
        }) {
    const auto b = [this](const std::string& name) { return sink_.url("/b/" + name); };
    const std::string tracking = "<TrackingEvents>" + event("creativeView", b("view")) +
                                 event("start", b("start")) + event("firstQuartile", b("q1")) +
                                 event("midpoint", b("mid")) + event("thirdQuartile", b("q3")) +
                                 event("complete", b("complete")) + event("skip", b("skip")) +
                                 "</TrackingEvents>";
    const std::string verifications =
        "<AdVerifications><Verification vendor=\"v\"><JavaScriptResource apiFramework=\"omid\">" +
        b("verify.js") +
        "</JavaScriptResource><VerificationParameters><![CDATA[{\"k\": \"v w\"}\n]]>"
        "</VerificationParameters></Verification></AdVerifications>";
    std::string text = test::vmapDocument(
        test::adBreak("00:00:10", "00:00:30", "ad", tracking, verifications), 130, 100);
    for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
             {"https://beacon.example.com/imp/ad", b("impression")},
             {"https://beacon.example.com/break/start/ad", b("breakStart")},
             {"https://beacon.example.com/break/end/ad", b("breakEnd")},
             {"https://beacon.example.com/content/1", b("content-at-10")}}) {
      text.replace(text.find(from), from.size(), to);
    }
    timeline_ = SKYLVelaParseTimelineFromDataWithError(nullptr, text).value();
    tracker_ = std::make_unique<SKYLVelaProgressTracker>(timeline_);
    tracker_->setPlaybackRate(1);
    analytics_ = std::make_unique<SKYLVelaAnalyticsSession>(
        *tracker_, std::make_shared<SKYLVelaAnalyticsDigester>(
                       std::make_shared<URLSessionBeaconTransport>(), center_));
    analytics_->observeTracker();
    (void)center_.addObserver(
        std::string(kSKYLSSAIAnalayticsDigestNotification), [this](const Notification& n) {
          const auto url = std::any_cast<URL>(n.object).absoluteString();
          fired_.push_back(url.substr(url.rfind('/') + 1) + fmt::format("@{:.2f}", now_));
        });
  }

  static std::string event(const std::string& name, const std::string& url) {
    return "<Tracking event=\"" + name + "\">" + url + "</Tracking>";
  }

  // Plays from `from` to `to` in steps, recording each beacon with the
  // absolute time of the update that fired it.
  void play(double from, double to, double step = 0.25) {
    for (double t = from; t <= to + 1e-9; t += step) at(t);
  }
  void at(double t) {
    now_ = t;
    tracker_->setAbsoluteTime(seconds(t));
  }

  test::LoopbackServer sink_;
  NotificationCenter center_;
  std::shared_ptr<SKYLVelaTimeline> timeline_;
  std::unique_ptr<SKYLVelaProgressTracker> tracker_;
  std::unique_ptr<SKYLVelaAnalyticsSession> analytics_;
  std::vector<std::string> fired_;
  double now_ = 0;
};

using Fired = std::vector<std::string>;

TEST_F(AnalyticsTest, PlayingAnAdFromItsStartFiresEachBeaconAtItsUpdate) {
  play(9.5, 40.25);
  // The quartile marks are whole seconds (7, 15, 22); an offset fires on
  // the first update past it, since each update covers [previous, now).
  // Open-measurement parameters are JSON: they go out percent-encoded.
  const Fired expected = {"impression@10.00", "verify.js?%7B%22k%22:%20%22v%20w%22%7D%0A@10.00",
                          "view@10.00",       "breakStart@10.25",
                          "start@10.25",      "q1@17.25",
                          "mid@25.25",        "q3@32.25",
                          "complete@40.00",   "breakEnd@40.00"};
  EXPECT_EQ(fired_, expected);
  // The sink receives every fired beacon, each once.
  ASSERT_TRUE(sink_.waitForRequests(expected.size(), 5s));
  std::multiset<std::string> received;
  for (const auto& request : sink_.requests()) received.insert(request.path);
  EXPECT_EQ(received.size(), expected.size());
  for (const auto& name : {"/b/impression", "/b/q1", "/b/complete", "/b/breakEnd"}) {
    EXPECT_EQ(received.count(name), 1u) << name;
  }
}

TEST_F(AnalyticsTest, ASkippedAdFiresSkipAndBreakEndButNoComplete) {
  play(9.75, 12.0);
  fired_.clear();
  analytics_->adAnalaytics()->trackAdSkip();
  tracker_->setDidSkipAd(true);
  at(41.0);
  EXPECT_EQ(fired_, (Fired{"skip@12.00", "breakEnd@41.00"}));
}

TEST_F(AnalyticsTest, AStepOfMoreThanASecondAndAHalfFiresNothing) {
  play(9.75, 16.5);
  fired_.clear();
  at(18.1);  // 1.6 s past 16.5: over the first quartile without firing it
  at(18.35);
  EXPECT_EQ(fired_, Fired{});
}

// The tracker lets no step back inside an ad through; the ad's session,
// told of one, fires the milestones it passes again.
TEST_F(AnalyticsTest, ProgressThatStepsBackFiresThePassedMilestonesAgain) {
  play(9.75, 20.0);
  fired_.clear();
  const auto ad = analytics_->adAnalaytics();
  for (double progress = 2.0; progress <= 8.0; progress += 0.25) {
    now_ = 10.0 + progress;
    ad->trackProgressToTime(seconds(progress));
  }
  EXPECT_EQ(fired_, Fired{"q1@17.25"});
}

TEST_F(AnalyticsTest, ContentImpressionsCompareContentTimeWithAbsolutePosition) {
  // The impression at content 10 s stands at absolute 40 s (after the ad):
  // it fires once content time reaches 40 s.
  play(0, 9.75);
  play(40.25, 69.5, 0.5);
  EXPECT_EQ(std::count(fired_.begin(), fired_.end(), "content-at-10@69.50"), 0);
  play(70.0, 71.0, 0.5);
  EXPECT_EQ(std::count(fired_.begin(), fired_.end(), "content-at-10@70.00"), 1);
  // Back before it and across it again, it fires again; a leap over it
  // fires nothing, nor does playing on after the leap.
  play(69.0, 70.5, 0.5);
  EXPECT_EQ(std::count(fired_.begin(), fired_.end(), "content-at-10@70.00"), 2);
  at(60);
  play(75, 80);
  EXPECT_EQ(std::count_if(fired_.begin(), fired_.end(),
                          [](const std::string& f) { return f.rfind("content-at-10", 0) == 0; }),
            2);
}

TEST(SKYLVelaAnalyticsDigesterTest, AnnouncesThenSendsWithoutBlockingAndDropsOtherSchemes) {
  test::LoopbackServer slowSink;
  NotificationCenter center;
  std::vector<std::string> announced;
  (void)center.addObserver("", [&](const Notification& n) {
    announced.push_back(std::any_cast<URL>(n.object).absoluteString());
  });
  SKYLVelaAnalyticsDigester digester(std::make_shared<URLSessionBeaconTransport>(), center);
  const auto start = std::chrono::steady_clock::now();
  digester.digestEvent(URL::parse(slowSink.url("/delay/800")));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 200ms);
  digester.digestEvent(std::nullopt);
  digester.digestEvent(URL::parse("file:///etc/hostname"));
  digester.digestEvent(URL::parse("ftp://127.0.0.1/x"));
  EXPECT_EQ(announced, std::vector<std::string>{slowSink.url("/delay/800")});
  EXPECT_TRUE(slowSink.waitForRequests(1, 5s));
}

}  // namespace
}  // namespace skylark
