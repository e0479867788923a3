#include <gtest/gtest.h>

#include "host/SKYLHostConstants.h"
#include "session/SKYLVUXSession.h"
#include "support/SessionHarness.h"
#include "support/VMAPFixtures.h"
#include "timeline/SKYLSSAIConstants.h"

namespace skylark {
namespace {

using test::adBreak;
using test::SessionHarness;
using Events = std::vector<std::string>;

// 300 s of content: mid-rolls of 20 s at content 100 (stream 100-120) and
// 200 (stream 220-240), a 10 s post-roll (stream 340-350). Every ad can be
// skipped after 5 s; each ad's complete and skip beacons name it.
std::string twoMidRollsAndAPostRoll(const std::string& firstMidRollDuration = "00:00:20") {
  auto ad = [](const std::string& offset, const std::string& duration, const std::string& id) {
    std::string text = adBreak(offset, duration, id,
                               "<TrackingEvents><Tracking event=\"complete\">https://b.example.com/"
                               "complete/" +
                                   id +
                                   "</Tracking><Tracking event=\"skip\">"
                                   "https://b.example.com/skip/" +
                                   id + "</Tracking></TrackingEvents>");
    text.replace(text.find("<Linear>"), 8, "<Linear skipoffset=\"00:00:05\">");
    return text;
  };
  const double first = firstMidRollDuration == "00:00:20" ? 20 : 3;
  return test::vmapDocument(ad("00:01:40", firstMidRollDuration, "m1") +
                                ad("00:03:20", "00:00:20", "m2") + ad("end", "00:00:10", "post"),
                            330 + first, 300);
}

class SeekingTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(app_.start()); }

  // Seeks to content `to`, recording each call of the completion.
  void seek(double to) {
    ssai_seekToTime(*app_.controller->providerExtension(), MediaTime::makeWithSeconds(to, 600),
                    [this](bool finished) { completions_.push_back(finished); });
    app_.settle();
  }
  std::vector<std::string> breaksEntered() {
    std::vector<std::string> entered;
    for (const auto& event : app_.takeEvents()) {
      if (event.rfind("AdEnter", 0) == 0) entered.push_back(event.substr(8));
    }
    return entered;
  }
  bool fired(const std::string& beacon) {
    const auto& urls = app_.transport->urls;
    return std::find(urls.begin(), urls.end(), "https://b.example.com/" + beacon) != urls.end();
  }

  SessionHarness app_{twoMidRollsAndAPostRoll()};
  std::vector<bool> completions_;
};

TEST_F(SeekingTest, AForwardSeekOverTwoMidRollsPlaysTheSecondThenGoesOn) {
  app_.playUntil(10);
  app_.takeEvents();
  seek(250);
  EXPECT_EQ(completions_, std::vector<bool>{true});
  EXPECT_NEAR(app_.streamTime(), 220.2, 1e-6);
  EXPECT_FALSE(app_.session->canSeek());
  app_.playUntil(241);
  EXPECT_EQ(breaksEntered(), std::vector<std::string>{"m2"});
  EXPECT_EQ(completions_, (std::vector<bool>{true, true}));
  EXPECT_NEAR(app_.streamTime(), 290, 1e-6);
  app_.playUntil(291);
  EXPECT_NEAR(app_.session->currentTime(), 251, 0.3);
  EXPECT_TRUE(app_.session->canSeek());
}

TEST_F(SeekingTest, ABackwardSeekPlaysNoBreak) {
  app_.playUntil(10);
  seek(250);
  app_.playUntil(260);  // past the forced break, at the target
  app_.takeEvents();
  completions_.clear();
  seek(50);
  EXPECT_EQ(completions_, std::vector<bool>{true});
  EXPECT_NEAR(app_.streamTime(), 50.2, 1e-6);
  app_.playUntil(60);
  EXPECT_EQ(breaksEntered(), std::vector<std::string>{});
}

TEST_F(SeekingTest, TheContentLengthPlaysThePostRollAndLaterTargetsAreClamped) {
  for (const double target : {300.0, 400.0}) {
    SessionHarness app(twoMidRollsAndAPostRoll());
    ASSERT_TRUE(app.start());
    app.playUntil(10);
    app.takeEvents();
    std::vector<bool> completions;
    ssai_seekToTime(*app.controller->providerExtension(), MediaTime::makeWithSeconds(target, 600),
                    [&](bool finished) { completions.push_back(finished); });
    app.settle();
    EXPECT_NEAR(app.streamTime(), 340.2, 1e-6) << target;
    app.playUntil(351);
    const auto events = app.takeEvents();
    EXPECT_NE(std::find(events.begin(), events.end(), "AdEnter post"), events.end()) << target;
    EXPECT_EQ(completions, (std::vector<bool>{true, true})) << target;
  }
}

TEST_F(SeekingTest, ASeekDuringABreakIsRefusedAtOnce) {
  app_.playUntil(105);
  ASSERT_FALSE(app_.session->canSeek());
  ssai_seekToTime(*app_.controller->providerExtension(), MediaTime::make(250, 1),
                  [this](bool finished) { completions_.push_back(finished); });
  EXPECT_EQ(completions_, std::vector<bool>{false});  // inside the call
  app_.settle();
  EXPECT_NEAR(app_.streamTime(), 105, 1e-6);
}

TEST_F(SeekingTest, WithAdsDisabledAForwardSeekGoesStraightToTheTarget) {
  app_.controller->sessionCommonProperties()->adsDisabled = true;
  app_.playUntil(10);
  app_.takeEvents();
  seek(250);
  EXPECT_EQ(completions_, std::vector<bool>{true});
  EXPECT_NEAR(app_.streamTime(), 290, 1e-6);
  app_.playUntil(295);
  EXPECT_EQ(breaksEntered(), std::vector<std::string>{});
}

TEST_F(SeekingTest, SkippingAnAdLandsPastItAndReportsTheSkip) {
  app_.playUntil(106);
  ASSERT_TRUE(app_.currentAd);
  const auto* skip =
      app_.currentAd->privateProperty<std::function<void()>>(kSKYLAdPrivatePropertyKeySkipHandler);
  ASSERT_TRUE(skip);
  app_.takeEvents();
  (*skip)();
  app_.settle();
  EXPECT_NEAR(app_.streamTime(), 120.2, 1e-6);
  app_.playUntil(121);
  const auto events = app_.takeEvents();
  EXPECT_NE(std::find(events.begin(), events.end(), "AdSkipped m1"), events.end());
  EXPECT_TRUE(fired("skip/m1"));
  EXPECT_FALSE(fired("complete/m1"));
}

TEST_F(SeekingTest, SkippingThePostRollGoesToTheEndAndNeverCompletesIt) {
  app_.playUntil(10);
  seek(300);
  app_.playUntil(346);
  ASSERT_TRUE(app_.currentAd);
  ASSERT_EQ(app_.currentAd->adId, "post");
  (*app_.currentAd->privateProperty<std::function<void()>>(kSKYLAdPrivatePropertyKeySkipHandler))();
  app_.settle();
  EXPECT_TRUE(app_.player->layerHidden());
  EXPECT_NEAR(app_.streamTime(), 350, 1e-6);
  app_.playUntil(351);
  const auto events = app_.takeEvents();
  EXPECT_NE(std::find(events.begin(), events.end(), "AdSkipped post"), events.end());
  EXPECT_TRUE(fired("skip/post"));
  EXPECT_FALSE(fired("complete/post"));
}

// A seek while a forced break plays, or after it ends but before the seek
// to the target has landed, is refused at once: its completion is called
// false, never again, and the forced seek still gets its second call.
TEST_F(SeekingTest, SeeksDuringAForcedBreakAreRefusedAndNeverTakeItsCompletion) {
  app_.playUntil(10);
  seek(250);
  app_.playUntil(225);  // in the forced break
  std::vector<bool> refused;
  auto seekAgain = [&](double to) {
    ssai_seekToTime(*app_.controller->providerExtension(), MediaTime::makeWithSeconds(to, 600),
                    [&refused](bool finished) { refused.push_back(finished); });
  };
  seekAgain(280);
  EXPECT_EQ(refused, std::vector<bool>{false});
  // The break is over, the seek to 250 not landed yet.
  const auto observer = app_.session->lifecycleState().addObserver(
      [&](const SKYLLifecycleEventPtr& event) {
        if (event && event->eventType() == kSKYLPlaybackSessionLifecycleEventAdSequenceExit) {
          EXPECT_FALSE(app_.session->canSeek());
          seekAgain(50);
        }
      },
      false);
  app_.playUntil(241);
  app_.session->lifecycleState().removeObserver(observer);
  EXPECT_EQ(refused, (std::vector<bool>{false, false}));
  EXPECT_EQ(completions_, (std::vector<bool>{true, true}));
  EXPECT_NEAR(app_.streamTime(), 290, 1e-6);
  EXPECT_TRUE(app_.session->canSeek());
}

// Seeking is open again before the application hears that a break it
// played into ended: a seek from that observer is taken.
TEST_F(SeekingTest, ASeekFromTheBreaksEndIsTaken) {
  std::vector<bool> fromObserver;
  const auto observer = app_.session->lifecycleState().addObserver(
      [&](const SKYLLifecycleEventPtr& event) {
        if (event && event->eventType() == kSKYLPlaybackSessionLifecycleEventAdSequenceExit &&
            fromObserver.empty()) {
          ssai_seekToTime(*app_.controller->providerExtension(), MediaTime::make(50, 1),
                          [&](bool finished) { fromObserver.push_back(finished); });
        }
      },
      false);
  app_.playUntil(125);  // through m1 (stream 100-120)
  app_.session->lifecycleState().removeObserver(observer);
  EXPECT_EQ(fromObserver, std::vector<bool>{true});
}

// A break at the seek's target itself counts as jumped over: it is the one
// played (the target's content position maps past the break).
TEST(SeekingTargetTest, ABreakAtTheTargetIsTheOnePlayed) {
  struct Case {
    double target;
    std::vector<std::string> played;
    double landed;  // stream time once the seek is over
  };
  const Case cases[] = {
      {99, {}, 99},        // before m1: straight there
      {100, {"m1"}, 120},  // m1's own position
      {150, {"m1"}, 170},  // past m1
      {200, {"m2"}, 240},  // m2's own position: m2, not m1
  };
  for (const auto& c : cases) {
    SessionHarness app(twoMidRollsAndAPostRoll());
    ASSERT_TRUE(app.start());
    app.playUntil(10);
    app.takeEvents();
    ssai_seekToTime(*app.controller->providerExtension(), MediaTime::makeWithSeconds(c.target, 600),
                    [](bool) {});
    app.settle();
    app.playUntil(245);
    std::vector<std::string> played;
    for (const auto& event : app.takeEvents()) {
      if (event.rfind("AdEnter ", 0) == 0) played.push_back(event.substr(8));
    }
    // Breaks the playhead reached after landing are not the seek's.
    std::erase_if(played, [&](const std::string& id) {
      return (id == "m2" && c.landed < 220) || (id == "m1" && c.landed < 100);
    });
    EXPECT_EQ(played, c.played) << c.target;
  }
}

// Rewinding out of a break from inside it leaves the viewer in content:
// no ad plays, seeks are taken, a pause is a plain pause, and no ad event
// is fired on the way.
TEST_F(SeekingTest, RewindingOutOfABreakLeavesTheViewerInContent) {
  app_.playUntil(105);
  ASSERT_TRUE(app_.session->adPlaying());
  ASSERT_FALSE(app_.session->canSeek());
  app_.takeEvents();
  app_.player->setRate(-1);
  while (app_.streamTime() > 95) {
    app_.clock->advance(0.25);
    app_.player->advance(0.25);
    app_.settle();
  }
  EXPECT_FALSE(app_.session->adPlaying());
  EXPECT_TRUE(app_.session->canSeek());
  app_.controller->pause();
  app_.settle();
  for (const auto& event : app_.takeEvents()) {
    EXPECT_EQ(event.rfind("Ad", 0), std::string::npos) << event;
  }
}

TEST(SeekingJitterTest, ABackwardSeekOfUnderFiveSecondsIntoABreakIsJitter) {
  // A 3 s first mid-roll (stream 100-103): from content 101.5 (stream
  // 104.5), a seek back to content 99.9 lands at 100.1, inside it, 4.4 s back.
  SessionHarness app(twoMidRollsAndAPostRoll("00:00:03"));
  ASSERT_TRUE(app.start());
  std::vector<bool> completions;
  app.playUntil(104.5);
  ASSERT_TRUE(app.session->canSeek());
  app.takeEvents();
  ssai_seekToTime(*app.controller->providerExtension(), MediaTime::makeWithSeconds(99.9, 600),
                  [&](bool finished) { completions.push_back(finished); });
  app.settle();
  EXPECT_NEAR(app.streamTime(), 100.1, 1e-6);
  app.playUntil(102);
  EXPECT_EQ(app.takeEvents(), Events{});  // the tracker took the jump for jitter
}

}  // namespace
}  // namespace skylark
