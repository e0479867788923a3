#include "session/SKYLVUXSession.h"

#include <gtest/gtest.h>

#include "host/SKYLBasicPlaybackSession.h"
#include "host/SKYLHostConstants.h"
#include "host/SKYLHostNotifications.h"
#include "support/LogCapture.h"
#include "support/SessionHarness.h"
#include "support/VMAPFixtures.h"
#include "timeline/SKYLSSAIConstants.h"

namespace skylark {
namespace {

using test::adBreak;
using test::SessionHarness;
using test::vmapDocument;
using Events = std::vector<std::string>;

// A 345 s stream: a 30 s pre-roll ("pre", skippable after 1.5 s) and a
// 15 s mid-roll ("mid", at content 120 s, skip offset 1 s, no click-through).
std::string preAndMidRoll() {
  std::string pre = adBreak("start", "00:00:30", "pre",
                            "<VideoClicks><ClickThrough>https://advertiser.example.com/"
                            "</ClickThrough></VideoClicks>");
  pre.replace(pre.find("<Linear>"), 8, "<Linear skipoffset=\"00:00:01.500\">");
  std::string mid = adBreak("00:02:00", "00:00:15", "mid");
  mid.replace(mid.find("<Linear>"), 8, "<Linear skipoffset=\"00:00:01\">");
  return vmapDocument(pre + mid, 345, 300);
}

template <typename T>
T property(const SKYLAd& ad, std::string_view key) {
  const auto* value = ad.property<T>(key);
  EXPECT_TRUE(value) << key;
  return value ? *value : T{};
}

TEST(SKYLVUXSessionTest, ContentDurationPositionAndMappingLeaveTheAdsOut) {
  SessionHarness app(preAndMidRoll());
  ASSERT_TRUE(app.start());
  ASSERT_TRUE(app.session);
  EXPECT_EQ(app.session->loadState().get(), 2);
  EXPECT_EQ(app.session->duration().get(), MediaTime::make(300, 1));
  app.playUntil(200);
  EXPECT_NEAR(app.session->progressSource().currentTimeValue.get().seconds(), 155, 0.3);
  EXPECT_NEAR(app.session->currentTime(), 155, 0.3);
  EXPECT_EQ(app.session->absoluteTimeAtContentTime(MediaTime::make(155, 1)).seconds(), 200);
  ASSERT_FALSE(app.session->seekableRanges().get().empty());
  EXPECT_EQ(app.session->seekableRanges().get().front().duration.seconds(), 300);
  // Cue points at each break's content position, on the video the host sees.
  const auto& cues = app.session->video()->cuePoints();
  ASSERT_EQ(cues.size(), 2u);
  EXPECT_EQ(cues[1].type, kSKYLCuePointTypeAdSlot);
  EXPECT_EQ(cues[1].position.seconds(), 120);
  // Reverse playback stops at the pre-roll's end, with no offset added.
  EXPECT_EQ(app.player->currentItem()->reversePlaybackEndTime(), MediaTime::make(30, 1));

  const auto unloaded = SKYLVUXSession::initWithUpstreamSession(
      SKYLBasicPlaybackSession::create(nullptr, nullptr, nullptr), {});
  EXPECT_FALSE(unloaded->absoluteTimeAtContentTime(MediaTime::make(10, 1)).isValid());
}

TEST(SKYLVUXSessionTest, APreRollEntersPlainlyAndAMidRollInterruptsPlayback) {
  SessionHarness app(preAndMidRoll());
  ASSERT_TRUE(app.start([&] { app.takeEvents(); }));
  // The player announces 0 once the stream is ready: the pre-roll begins there.
  const Events started = app.takeEvents();
  ASSERT_GE(started.size(), 2u);
  EXPECT_EQ(Events(started.end() - 2, started.end()), (Events{"AdSequenceEnter", "AdEnter pre"}));
  EXPECT_EQ(app.streamTime(), 0);
  app.playUntil(1);
  EXPECT_EQ(app.takeEvents(), Events{});
  app.playUntil(151);
  EXPECT_EQ(app.takeEvents(), (Events{"AdExit pre", "AdSequenceExit", "WillPauseForAd", "Pause",
                                      "PauseRequest", "AdSequenceEnter", "AdEnter mid"}));
  app.playUntil(166);
  EXPECT_EQ(app.takeEvents(), (Events{"AdExit mid", "AdSequenceExit", "Play", "PlayRequest"}));
}

TEST(SKYLVUXSessionTest, HostAdRecordsCarrySkipAndClickThroughProperties) {
  SessionHarness app(preAndMidRoll());
  ASSERT_TRUE(app.start());
  app.playUntil(1);
  ASSERT_TRUE(app.currentAd);
  EXPECT_EQ(property<int64_t>(*app.currentAd, kSKYLAdPropertyKeySkippable), 1);
  EXPECT_EQ(property<float>(*app.currentAd, kSKYLAdPropertyKeySkipTime), 1.5f);
  EXPECT_EQ(property<std::vector<std::string>>(*app.currentAd, kSKYLAdPropertyKeyClickthroughURLs),
            std::vector<std::string>{"https://advertiser.example.com/"});
  EXPECT_TRUE(
      app.currentAd->privateProperty<std::function<void()>>(kSKYLAdPrivatePropertyKeySkipHandler));
  app.playUntil(151);
  EXPECT_EQ(property<int64_t>(*app.currentAd, kSKYLAdPropertyKeySkippable), 0);  // exactly 1 s
  EXPECT_FALSE(app.currentAd->property<float>(kSKYLAdPropertyKeySkipTime));
  EXPECT_TRUE(property<std::vector<std::string>>(*app.currentAd, kSKYLAdPropertyKeyClickthroughURLs)
                  .empty());
}

TEST(SKYLVUXSessionTest, PausingDuringAnAdIsAnAdPauseAndRequestsAreDropped) {
  SessionHarness app(preAndMidRoll());
  ASSERT_TRUE(app.start());
  app.playUntil(2);
  app.takeEvents();
  app.controller->pause();
  app.controller->play();
  EXPECT_EQ(app.takeEvents(), (Events{"AdPause pre", "AdResume pre"}));
}

TEST(SKYLVUXSessionTest, RewindingThroughABreakOnlyChangesTheRate) {
  SessionHarness app(preAndMidRoll());
  ASSERT_TRUE(app.start());
  app.playUntil(170);
  app.takeEvents();
  std::vector<float> rates;
  app.player->setRate(kSKYLSSAIRewindingRate);
  for (int i = 0; i < 40 && app.streamTime() > 140; ++i) {
    app.player->advance(0.05);  // 1.2 s of stream per step at -24
    app.settle();
    if (rates.empty() || rates.back() != app.player->rate()) rates.push_back(app.player->rate());
  }
  EXPECT_EQ(rates, (std::vector<float>{-24, -96, -24}));
  EXPECT_EQ(app.takeEvents(), Events{});
}

TEST(SKYLVUXSessionTest, TrackerEventsAreIgnoredWhileABumperPlays) {
  SessionHarness app(preAndMidRoll());
  ASSERT_TRUE(app.start());
  app.takeEvents();
  app.player->replaceCurrentItem(
      std::make_shared<PlayerItem>(*app.session->timeline()->velaURL(), PlayerItemType::bumper));
  app.player->play();
  app.playUntil(10);
  for (const auto& event : app.takeEvents())
    EXPECT_EQ(event.find("Ad"), std::string::npos) << event;
  // The bumper's own progress reaches the application (not the content's,
  // still at 0 behind the pre-roll).
  EXPECT_NEAR(app.session->progressSource().currentTimeValue.get().seconds(), 10, 1e-6);
}

TEST(SKYLVUXSessionTest, LedgerParametersFollowThePod) {
  SessionHarness app(vmapDocument(adBreak("start", "00:00:10", "pre") +
                                      adBreak("00:01:00", "00:00:10", "mid") +
                                      adBreak("end", "00:00:10", "post"),
                                  130, 100));
  ASSERT_TRUE(app.start());
  app.playUntil(131);
  const auto calls = SKYLAdLedgerManager::shared().calls();
  std::vector<std::string> pods;
  for (const auto& call : calls) {
    if (call.code != 0) continue;
    pods.push_back(
        std::any_cast<std::string>(call.parameters.at("kSKYLAdLedgerParameterPodTypeKey")) + " " +
        std::to_string(
            std::any_cast<int64_t>(call.parameters.at("kSKYLAdLedgerParameterPodIndexKey"))));
  }
  EXPECT_EQ(pods, (std::vector<std::string>{"kSKYLAdLedgerOptionAdPodTypePreroll 0",
                                            "kSKYLAdLedgerOptionAdPodTypeMidroll 1",
                                            "kSKYLAdLedgerOptionAdPodTypePostroll -1"}));
  const auto adEnd =
      std::find_if(calls.begin(), calls.end(), [](const auto& c) { return c.code == 3; });
  ASSERT_NE(adEnd, calls.end());
  // Played as far as the last progress before the ad's end: one step short of its duration.
  const double preRoll =
      app.session->timeline()->adSequences()->front()->ads().front()->duration().seconds();
  EXPECT_NEAR(std::any_cast<double>(adEnd->parameters.at("kSKYLAdLedgerParameterAdPlayDuration")),
              preRoll - 0.25, 0.01);
  EXPECT_TRUE(adEnd->parameters.count("kSKYLAdLedgerParameterAdAudibleDurationKey"));
  EXPECT_EQ(
      std::any_cast<std::string>(adEnd->parameters.at("kSKYLAdLedgerParameterAdCreativeIDKey")),
      "pre");
}

// Each break's end, its ads' starts (numbered within the break) and a break
// that does not begin where the video says it ends. A video whose duration
// nobody set reads as ending at 0 s.
TEST(SKYLVUXSessionTest, LedgerReportsBreakEndsAdStartsAndMisplacedBreaks) {
  struct Case {
    std::optional<int64_t> videoMilliseconds;
    std::vector<int64_t> misplacedPods;  // pod index of each report 5
  };
  const Case cases[] = {
      {std::nullopt, {1, -1}},  // mid-roll at 70 s, post-roll at 120 s
      {120'000, {1}},           // the post-roll is where the video ends
      {70'000, {-1}},
  };
  for (const auto& c : cases) {
    // A pod of two: two breaks at the same offset make one break of two ads.
    const std::string pod =
        adBreak("00:01:00", "00:00:05", "mid-a") + adBreak("00:01:00", "00:00:05", "mid-b");
    SessionHarness app(vmapDocument(
        adBreak("start", "00:00:10", "pre") + pod + adBreak("end", "00:00:10", "post"), 130, 100));
    ASSERT_TRUE(app.start());
    if (c.videoMilliseconds) {
      app.session->innerPlaybackSession()->video()->setDurationMilliseconds(*c.videoMilliseconds);
    }
    app.playUntil(131);
    std::vector<int64_t> misplaced, podEnds, adStarts;
    for (const auto& call : SKYLAdLedgerManager::shared().calls()) {
      const auto index = [&](const char* key) {
        return std::any_cast<int64_t>(call.parameters.at(key));
      };
      if (call.code == 5) misplaced.push_back(index("kSKYLAdLedgerParameterPodIndexKey"));
      if (call.code == 1) podEnds.push_back(index("kSKYLAdLedgerParameterPodAdCountKey"));
      if (call.code == 2) adStarts.push_back(index("kSKYLAdLedgerParameterAdIndexKey"));
    }
    EXPECT_EQ(misplaced, c.misplacedPods);
    EXPECT_EQ(podEnds, (std::vector<int64_t>{1, 2, 1}));
    EXPECT_EQ(adStarts, (std::vector<int64_t>{0, 0, 1, 0}));
  }
}

// A video without a source fails through the loader, as one whose source
// has no URL: later, with its log line and the playback session's error.
TEST(SKYLVUXSessionTest, AVideoWithoutASourceFailsThroughTheLoader) {
  test::LogCapture log;
  auto player = SimulatedPlayer::create([](const URL&) { return std::nullopt; });
  auto basic = SKYLBasicPlaybackSession::create(SKYLVideo::initWithSources({}), nullptr, player);
  auto session = SKYLVUXSession::initWithUpstreamSession(basic, {});
  EXPECT_EQ(session->currentTime(), 0);  // nothing loaded: no tracker
  session->load();
  EXPECT_EQ(session->loadState().get(), 1);  // not failed inside the call
  ASSERT_TRUE(Dispatch::main().runUntil([&] { return session->loadState().get() == 3; },
                                        std::chrono::seconds(5)));
  ASSERT_TRUE(session->loadError());
  EXPECT_EQ(session->loadError()->domain, kSKYLPlaybackSessionErrorDomain);
  EXPECT_EQ(session->loadError()->code, kSKYLPlaybackSessionErrorCodeLoadFailed);
  const auto messages = log.messages();
  EXPECT_NE(
      std::find(messages.begin(), messages.end(), "Error: videoSource or videoSource.url is nil."),
      messages.end());
}

// An application's decorator around the plug-in's session: the extension's
// operations reach the plug-in through it.
TEST(SKYLVUXSessionTest, ExtensionOperationsReachThePluginThroughADecorator) {
  class Decorator final : public ForwardingPlaybackSession {
   public:
    using ForwardingPlaybackSession::ForwardingPlaybackSession;
  };
  SessionHarness app(preAndMidRoll());
  ASSERT_TRUE(app.start());
  const auto decorated = std::make_shared<Decorator>(std::make_shared<Decorator>(app.session));
  const auto extension = SKYLSessionProviderExtension::initWithPlaybackSession(decorated);
  EXPECT_EQ(ssai_absoluteTimeAtContentTime(*extension, MediaTime::make(10, 1)),
            MediaTime::make(40, 1));  // after the 30 s pre-roll
  app.playUntil(31);                  // past the pre-roll
  EXPECT_TRUE(ssai_canSeek(*extension));
}

TEST(SKYLVUXSessionTest, TheViewableImpressionComesAtExactlyTwoSecondsOnce) {
  SessionHarness app(preAndMidRoll());
  auto view = std::make_shared<SKYLView>(1280, 720);
  ASSERT_TRUE(app.start([&] {
    app.controller->sessionCommonProperties()->tvPlayerView = view;
    SKYLAdLedgerManager::shared().setVisiblePercentage(view.get(), 0.5);
  }));
  auto viewable = [] {
    const auto calls = SKYLAdLedgerManager::shared().calls();
    return std::count_if(calls.begin(), calls.end(), [](const auto& c) { return c.code == 6; });
  };
  // The ad timer ticks on the session's clock, once a second from the ad's start.
  double adStart = -1;
  for (double t = 0; t <= 1 && adStart < 0; t += 0.25) {
    app.playUntil(t);
    if (app.currentAd) adStart = app.streamTime();
  }
  ASSERT_GE(adStart, 0);
  app.playUntil(adStart + 1.9);
  EXPECT_EQ(viewable(), 0);
  app.playUntil(adStart + 2);
  EXPECT_EQ(viewable(), 1);
  app.playUntil(adStart + 4.5);
  EXPECT_EQ(viewable(), 1);
  EXPECT_EQ(app.session->adViewableSeconds(), 2);
}

TEST(SKYLVUXSessionTest, TheAuthTokenGoesOnlyToEncryptedHLS) {
  for (const bool encrypted : {true, false}) {
    SKYLSource::Properties properties = {{std::string(kSKYLSourcePropertyKeyAuthToken), "t0k"}};
    if (encrypted) properties[std::string(kSKYLSourcePropertyKeyEncryption)] = "aes";
    SKYLPlayerSDKManager::sharedManager().setPlayerFactory(
        [] { return SimulatedPlayer::create([](const URL&) { return std::nullopt; }); });
    auto basic = SKYLBasicPlaybackSession::create(
        SKYLVideo::initWithSources({SKYLSource::initWithVMAPXMLData(preAndMidRoll(), properties)}),
        nullptr, SKYLPlayerSDKManager::sharedManager().makePlayer());
    auto session = SKYLVUXSession::initWithUpstreamSession(basic, {});
    session->load();
    Dispatch::main().runUntil([&] { return session->loadState().get() >= 2; },
                              std::chrono::seconds(5));
    ASSERT_TRUE(basic->currentPlayerItem());
    EXPECT_EQ(basic->currentPlayerItem()->url().absoluteString(),
              encrypted ? "https://cdn.example.com/stream.m3u8&skyl_auth=t0k"
                        : "https://cdn.example.com/stream.m3u8");
  }
  SKYLPlayerSDKManager::sharedManager().setPlayerFactory(nullptr);
}

}  // namespace
}  // namespace skylark
