// What the application and the host control around a break: fast playback,
// picture in picture, resuming, pausing ads and the seeks that are refused.
#include <gtest/gtest.h>

#include "entry/SKYLSSAIAdditions.h"
#include "host/SKYLHostConstants.h"
#include "session/SKYLVUXSession.h"
#include "support/SessionHarness.h"
#include "support/VMAPFixtures.h"

namespace skylark {
namespace {

using test::SessionHarness;
using Events = std::vector<std::string>;

// 200 s of content with a 20 s mid-roll "mid" at content 100 (stream 100-120).
std::string oneMidRoll() {
  return test::vmapDocument(test::adBreak("00:01:40", "00:00:20", "mid"), 220, 200);
}

bool contains(const Events& events, const std::string& event) {
  return std::find(events.begin(), events.end(), event) != events.end();
}

TEST(SessionControlsTest, FastPlaybackAndPictureInPictureAroundABreak) {
  for (const bool controllerBeforeTheBreak : {true, false}) {
    SessionHarness app(oneMidRoll());
    ASSERT_TRUE(app.start());
    const auto properties = app.controller->sessionCommonProperties();
    properties->playbackRate = 2.0f;
    const auto pip = std::make_shared<PictureInPictureController>();
    if (controllerBeforeTheBreak) properties->pictureInPictureController.set(pip);
    app.playUntil(0.25);
    app.player->setRate(2);
    app.playUntil(99.75);
    // One step of 0.5 s overshoots the break's start: the ads play at
    // normal speed, from its first frame.
    app.clock->advance(0.25);
    app.player->advance(0.25);
    app.settle();
    EXPECT_TRUE(app.player->advertisingMode());
    EXPECT_NEAR(app.streamTime(), 100, 1e-6);
    if (!controllerBeforeTheBreak) {
      EXPECT_FALSE(pip->requiresLinearPlayback());
      properties->pictureInPictureController.set(pip);  // appears during the ad
    }
    EXPECT_TRUE(pip->requiresLinearPlayback()) << controllerBeforeTheBreak;
    app.playUntil(121);
    EXPECT_FALSE(app.player->advertisingMode());
    EXPECT_FALSE(pip->requiresLinearPlayback()) << controllerBeforeTheBreak;
  }
}

// The host resumed the video inside a break: the break is over for the
// tracker, so the application hears the ad and the break end.
TEST(SessionControlsTest, AResumeDuringABreakEndsIt) {
  SessionHarness app(oneMidRoll());
  ASSERT_TRUE(app.start());
  app.playUntil(105);
  ASSERT_TRUE(app.session->adPlaying());
  app.takeEvents();
  app.session->innerPlaybackSession()->resumeVideoAtTime(MediaTime::make(106, 1), false);
  app.settle();
  const auto events = app.takeEvents();
  EXPECT_TRUE(contains(events, "ResumeComplete")) << testing::PrintToString(events);
  EXPECT_TRUE(contains(events, "AdExit mid")) << testing::PrintToString(events);
  EXPECT_TRUE(contains(events, "AdSequenceExit")) << testing::PrintToString(events);
}

// pauseAd and resumeAd act only while an ad plays.
TEST(SessionControlsTest, PausingAndResumingAdsOnlyInAnAd) {
  SessionHarness app(oneMidRoll());
  ASSERT_TRUE(app.start());
  app.playUntil(50);
  app.takeEvents();
  app.session->pauseAd();
  app.settle();
  EXPECT_NE(app.player->rate(), 0);
  EXPECT_EQ(app.takeEvents(), Events{});
  app.playUntil(105);
  app.takeEvents();
  app.session->pauseAd();
  app.settle();
  EXPECT_EQ(app.player->rate(), 0);
  app.session->resumeAd();
  app.settle();
  EXPECT_NE(app.player->rate(), 0);
  const auto events = app.takeEvents();
  EXPECT_TRUE(contains(events, "AdPause mid")) << testing::PrintToString(events);
  EXPECT_TRUE(contains(events, "AdResume mid")) << testing::PrintToString(events);
}

// Targets that are no time, or before the start, are refused at once.
TEST(SessionControlsTest, InvalidAndNegativeSeekTargetsAreRefused) {
  SessionHarness app(oneMidRoll());
  ASSERT_TRUE(app.start());
  app.playUntil(10);
  for (const MediaTime& target :
       {MediaTime::invalid(), MediaTime::make(-1, 1), MediaTime::negativeInfinity()}) {
    std::vector<bool> completions;
    ssai_seekToTime(*app.controller->providerExtension(), target,
                    [&](bool finished) { completions.push_back(finished); });
    EXPECT_EQ(completions, std::vector<bool>{false}) << target.description();
    app.settle();
    EXPECT_NEAR(app.streamTime(), 10, 1e-6);
    EXPECT_EQ(completions, std::vector<bool>{false}) << target.description();
  }
}

}  // namespace
}  // namespace skylark
