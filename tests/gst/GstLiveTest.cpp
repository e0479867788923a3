// An older live SSAI stream on the GStreamer player: the test stream's
// live-id3.m3u8 from a loopback origin whose window slides with the clock,
// its ad data only in the stream's ID3 timed metadata. Plays in real time.
#include <map>
#include <thread>

#include <gtest/gtest.h>

#include "LiveOrigin.h"
#include "beacons/URLSessionBeaconTransport.h"
#include "entry/SKYLSSAIAdditions.h"
#include "entry/SKYLVUXSessionProviderOptions.h"
#include "host/SKYLAdSequence.h"
#include "host/SKYLHostConstants.h"
#include "host/gst/GstPlayer.h"
#include "platform/DispatchQueue.h"
#include "timeline/SKYLSSAIConstants.h"
#include "timeline/SKYLVelaAd.h"

namespace skylark::test {
namespace {

using namespace std::chrono_literals;

// The stream made at build time names the script's default beacon base;
// its requests go to the origin's sink instead, over real HTTP.
class SinkTransport final : public BeaconTransport {
 public:
  explicit SinkTransport(std::string sink) : sink_(std::move(sink)) {}
  using BeaconTransport::send;
  void send(const URL& url, Delivered delivered) override {
    std::string address = url.absoluteString();
    const std::string base = "http://127.0.0.1:9/b";
    if (address.rfind(base, 0) == 0) address = sink_ + address.substr(base.size());
    inner_.send(*URL::parse(address), std::move(delivered));
  }

 private:
  std::string sink_;
  URLSessionBeaconTransport inner_;
};

class GstLiveTest : public ::testing::Test {
 protected:
  // Where the playhead was when a break was entered, and the break.
  struct Entry {
    MediaTime at, begin, end;
  };

  void SetUp() override {
    std::string why;
    // The edge 20 s in: playback starts some seconds before the mid-roll
    // (18-22 s), and the window of 24 s still holds it after the seek back.
    origin_ = tool::LiveOrigin::start(
        {.directory = SKYLARK_TEST_STREAM_DIR, .startPosition = 20, .windowSegments = 12}, &why);
    ASSERT_TRUE(origin_) << why;
    auto& manager = SKYLPlayerSDKManager::sharedManager();
    manager.setPlayerFactory([this] {
      std::string reason;
      player_ = GstPlayer::create({.positionInterval = 20ms}, &reason);
      EXPECT_TRUE(player_) << reason;
      return player_;
    });
    SKYLVUXSessionProviderOptions options;
    options.setBeaconTransport(std::make_shared<SinkTransport>(origin_->base() + "/b"));
    auto provider =
        createSSAISessionProviderWithUpstreamSessionProvider(manager, nullptr, &options);
    controller_ = manager.createPlaybackControllerWithSessionProvider(provider);
    controller_->setLifecycleHandler([this](const auto&, const SKYLLifecycleEventPtr& event) {
      if (event->eventType() != kSKYLPlaybackSessionLifecycleEventAdSequenceEnter) return;
      const auto* sequence = event->property<std::shared_ptr<SKYLAdSequence>>(
          kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdSequence);
      if (!sequence || !*sequence || (*sequence)->ads.empty()) return;
      const auto* ad = (*sequence)->ads.front()->property<std::shared_ptr<const SKYLVelaAd>>(
          kSKYLSSAIAdPropertiesKeyVelaAd);
      if (ad && *ad)
        entered_.push_back({player_->currentTime(), (*ad)->beginTime(), (*ad)->endTime()});
    });
    auto source = SKYLSource::initWithURL(URL::parse(origin_->base() + "/live-id3.m3u8"),
                                          std::string(kSKYLDeliveryHLS), {});
    source->setLiveSSAISource(true);
    controller_->setVideos({SKYLVideo::initWithSources({source})});
  }

  void TearDown() override {
    controller_.reset();
    SKYLPlayerSDKManager::sharedManager().setPlayerFactory(nullptr);
  }

  double now() const { return player_ ? player_->currentTime().seconds() : 0; }
  // How often the sink heard each event of the mid-roll's ad.
  std::map<std::string, int> midRollBeacons() const {
    std::map<std::string, int> counts;
    for (const auto& path : origin_->received()) {
      if (path.rfind("/b/mid/", 0) == 0) ++counts[path.substr(7)];
    }
    return counts;
  }
  bool heardAll(const std::map<std::string, int>& counts) const {
    return counts.count("impression") && counts.count("start") && counts.count("complete");
  }

  std::unique_ptr<tool::LiveOrigin> origin_;
  std::shared_ptr<GstPlayer> player_;
  std::shared_ptr<SKYLPlaybackController> controller_;
  std::vector<Entry> entered_;
};

TEST_F(GstLiveTest, TheStreamsID3AdDataLaysOutTheBreakAndItsBeaconsReachTheSinkOnce) {
  ASSERT_TRUE(Dispatch::main().runUntil(
      [&] { return player_ && player_->itemStatus.get() == PlayerItem::Status::readyToPlay; },
      20s));
  EXPECT_TRUE(player_->currentItem()->duration().isIndefinite()) << "a live stream has no end";
  ASSERT_TRUE(player_->currentDate()) << "the live playlist is dated";

  // The mid-roll's frame sits at the start of its segment; the session
  // lays the break out from it and enters it as the playhead gets there.
  ASSERT_TRUE(Dispatch::main().runUntil([&] { return !entered_.empty(); }, 30s))
      << "no break entered; the playhead is at " << now();
  const Entry entry = entered_.front();
  EXPECT_NEAR(entry.end.seconds() - entry.begin.seconds(), 4, 1e-6);
  EXPECT_GE(entry.at.seconds(), entry.begin.seconds() - 1e-6);
  EXPECT_LT(entry.at.seconds() - entry.begin.seconds(), 0.5);

  ASSERT_TRUE(Dispatch::main().runUntil([&] { return heardAll(midRollBeacons()); }, 20s))
      << "the playhead is at " << now();
  const auto once = midRollBeacons();
  for (const char* event : {"impression", "start", "complete"}) {
    EXPECT_EQ(once.at(event), 1) << event;
  }

  // Back into the break, past its frame: the demuxer reads the frame's
  // segment again, nothing is handed out or fired again.
  bool landed = false;
  ssai_seekToTime(*controller_->providerExtension(), entry.begin + MediaTime::make(3, 2),
                  [&](bool finished) { landed = finished; });
  ASSERT_TRUE(Dispatch::main().runUntil([&] { return landed; }, 20s));
  EXPECT_LT(now(), entry.end.seconds());
  ASSERT_TRUE(Dispatch::main().runUntil([&] { return now() > entry.end.seconds() + 0.5; }, 20s))
      << "the playhead is at " << now();
  Dispatch::main().runUntil([] { return false; }, 1s);  // any late request would arrive meanwhile
  EXPECT_EQ(midRollBeacons(), once);
}

}  // namespace
}  // namespace skylark::test
