#include "session/SKYLVUXSession.h"

#include <gtest/gtest.h>

#include "host/SKYLBasicPlaybackSession.h"
#include "host/SKYLHostConstants.h"
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
  EXPECT_NEAR(std::any_cast<double>(adEnd->parameters.at("kSKYLAdLedgerParameterAdPlayDuration")),
              9.75, 0.01);
  EXPECT_TRUE(adEnd->parameters.count("kSKYLAdLedgerParameterAdAudibleDurationKey"));
  EXPECT_EQ(
      std::any_cast<std::string>(adEnd->parameters.at("kSKYLAdLedgerParameterAdCreativeIDKey")),
      "pre");
}

TEST(SKYLVUXSessionTest, TheViewableImpressionComesAtExactlyTwoSecondsOnce) {
  SessionHarness app(preAndMidRoll());
  std::function<void()> tick;
  auto view = std::make_shared<SKYLView>(1280, 720);
  ASSERT_TRUE(app.start([&] {
    app.session->setAdTimerFactory([&](std::function<void()> t) {
      tick = std::move(t);
      return std::make_shared<int>(0);
    });
    app.controller->sessionCommonProperties()->tvPlayerView = view;
    SKYLAdLedgerManager::shared().setVisiblePercentage(view.get(), 0.5);
  }));
  app.playUntil(1);
  ASSERT_TRUE(tick);
  auto viewable = [] {
    const auto calls = SKYLAdLedgerManager::shared().calls();
    return std::count_if(calls.begin(), calls.end(), [](const auto& c) { return c.code == 6; });
  };
  tick();
  EXPECT_EQ(viewable(), 0);
  tick();
  EXPECT_EQ(viewable(), 1);
  tick();
  tick();
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
