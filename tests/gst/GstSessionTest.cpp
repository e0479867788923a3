// The whole plug-in on the GStreamer player: the stitched test stream plays
// as fast as it decodes, its beacons go to a loopback sink.
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "TestStream.h"
#include "entry/SKYLSSAIAdditions.h"
#include "host/SKYLHostConstants.h"
#include "host/gst/GstPlayer.h"
#include "platform/DispatchQueue.h"
#include "platform/NotificationCenter.h"
#include "session/SKYLVUXSession.h"
#include "support/SessionHarness.h"
#include "timeline/SKYLSSAIConstants.h"

namespace skylark::test {
namespace {

using namespace std::chrono_literals;

class GstSessionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto& manager = SKYLPlayerSDKManager::sharedManager();
    manager.setPlayerFactory([this] {
      std::string why;
      player_ = GstPlayer::create({.sync = false, .positionInterval = 5ms}, &why);
      EXPECT_TRUE(player_) << why;
      player_->time.addObserver([this](const MediaTime& t) { times_.push_back(t.seconds()); },
                                false);
      return player_;
    });
    beacons_ = NotificationCenter::defaultCenter().addObserver(
        std::string(kSKYLSSAIAnalayticsDigestNotification), [this](const Notification& n) {
          if (const auto* url = std::any_cast<URL>(&n.object)) fired_.push_back(path(*url));
        });
    auto provider = createSSAISessionProviderWithUpstreamSessionProvider(manager, nullptr, nullptr);
    controller_ = manager.createPlaybackControllerWithSessionProvider(provider);
    controller_->setLifecycleHandler([this](const auto& s, const SKYLLifecycleEventPtr& event) {
      if (!session_) session_ = std::dynamic_pointer_cast<SKYLVUXSession>(s);
      if (event->eventType() == kSKYLPlaybackSessionLifecycleEventAdProgress) return;
      std::string line = shortEventName(event->eventType());
      if (const auto* ad = event->property<std::shared_ptr<SKYLAd>>(
              kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd);
          ad && *ad) {
        line += " " + (*ad)->adId;
      }
      events_.push_back(line);
    });
    controller_->setVideos(
        {SKYLVideo::initWithSources({SKYLSource::initWithVMAPXMLData(stream_.vmap(), {})})});
  }

  void TearDown() override {
    NotificationCenter::defaultCenter().removeObserver(beacons_);
    SKYLPlayerSDKManager::sharedManager().setPlayerFactory(nullptr);
  }

  std::string path(const URL& url) const {
    const std::string prefix = stream_.server().url("/b/");
    return url.absoluteString().substr(url.absoluteString().rfind(prefix, 0) == 0 ? prefix.size()
                                                                                  : 0);
  }
  bool runUntil(const std::function<bool()>& condition) {
    return Dispatch::main().runUntil(condition, 20s);
  }
  double streamTime() const { return player_ ? player_->currentTime().seconds() : 0; }
  std::vector<std::string> firedFor(const std::string& ad) const {
    std::vector<std::string> events;
    for (const auto& beacon : fired_) {
      if (beacon.rfind(ad + "/", 0) == 0) events.push_back(beacon.substr(ad.size() + 1));
    }
    return events;
  }
  bool heard(const std::string& event) const {
    return std::find(events_.begin(), events_.end(), event) != events_.end();
  }

  TestStream stream_;
  std::shared_ptr<GstPlayer> player_;
  std::shared_ptr<SKYLPlaybackController> controller_;
  std::shared_ptr<SKYLVUXSession> session_;
  NotificationCenter::Token beacons_ = 0;
  std::vector<std::string> events_;
  std::vector<std::string> fired_;  // beacon paths below /b/, as the session fired them
  std::vector<double> times_;       // every playhead the player published
};

TEST_F(GstSessionTest, PlaysThroughPreRollSeekOverAMidRollAndPostRoll) {
  ASSERT_TRUE(runUntil([&] { return session_ && session_->duration().get().isNumeric(); }));
  // 40 s of stream less three 4 s breaks, within one frame at 25 frames/s.
  EXPECT_NEAR(session_->duration().get().seconds(), 28, 0.04);

  ASSERT_TRUE(runUntil([&] { return heard("AdExit pre") || controller_->finished(); }));
  EXPECT_EQ(events_, (std::vector<std::string>{"PlayRequest", "Play", "Ready", "AdSequenceEnter",
                                               "AdEnter pre", "AdExit pre", "AdSequenceExit"}));
  EXPECT_EQ(firedFor("pre"), (std::vector<std::string>{"impression", "creativeView", "breakStart",
                                                       "start", "firstQuartile", "midpoint",
                                                       "thirdQuartile", "complete", "breakEnd"}));

  // Content 20 s is stream 28 s, past the mid-roll at 18-22 s: the seek
  // plays the mid-roll from its start, then lands at the target.
  ASSERT_LT(streamTime(), 18);
  std::vector<std::pair<bool, double>> landings;
  ssai_seekToTime(*controller_->providerExtension(), MediaTime::make(20, 1),
                  [&](bool finished) { landings.emplace_back(finished, streamTime()); });
  ASSERT_TRUE(runUntil([&] { return landings.size() == 2; }));
  EXPECT_TRUE(landings[0].first && landings[1].first);
  EXPECT_NEAR(landings[0].second, 18.2, 0.1);
  EXPECT_NEAR(landings[1].second, 28, 0.1);
  EXPECT_TRUE(heard("AdEnter mid") && heard("AdExit mid"));
  EXPECT_EQ(firedFor("mid").back(), "breakEnd");
  // The mid-roll played between the landings.
  EXPECT_GE(
      std::count_if(times_.begin(), times_.end(), [](double t) { return t > 18.3 && t <= 22; }), 3);

  ASSERT_TRUE(runUntil([&] { return controller_->finished() || heard("End"); }));
  EXPECT_TRUE(heard("AdExit post"));
  EXPECT_EQ(firedFor("post").back(), "breakEnd");
  EXPECT_NE(std::find(fired_.begin(), fired_.end(), "post/complete"), fired_.end());

  // Every beacon fired reached the sink, once.
  std::multiset<std::string> received;
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (received.size() < fired_.size() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(10ms);
    received.clear();
    for (const auto& request : stream_.server().requests()) {
      if (request.path.rfind("/b/", 0) == 0) received.insert(request.path.substr(3));
    }
  }
  EXPECT_EQ(received, std::multiset<std::string>(fired_.begin(), fired_.end()));
}

}  // namespace
}  // namespace skylark::test
