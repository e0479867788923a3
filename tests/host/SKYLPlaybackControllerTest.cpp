#include "host/SKYLPlaybackController.h"

#include <gtest/gtest.h>

#include "host/SKYLAdLedgerManager.h"
#include "host/SKYLBasicPlaybackSession.h"
#include "host/SKYLBasicSessionProvider.h"
#include "host/SKYLErrorSession.h"
#include "host/SKYLHostConstants.h"
#include "host/SKYLPlayerSDKManager.h"
#include "host/reference/SimulatedPlayer.h"
#include "platform/DispatchQueue.h"

namespace skylark {
namespace {

// Streams of the catalog: /a (20 s) and /b (10 s).
std::optional<SimulatedMedia> catalog(const URL& url) {
  if (url.absoluteString() == "https://cdn.example.com/a")
    return SimulatedMedia{MediaTime::make(20, 1), {}, {}};
  if (url.absoluteString() == "https://cdn.example.com/b")
    return SimulatedMedia{MediaTime::make(10, 1), {}, {}};
  return std::nullopt;
}

std::shared_ptr<SKYLVideo> videoAt(const std::string& path) {
  return SKYLVideo::initWithSources({SKYLSource::initWithURL(
      URL::parse("https://cdn.example.com" + path), std::string(kSKYLDeliveryHLS), {})});
}

std::string shortName(std::string_view type) {
  constexpr std::string_view prefix = "kSKYLPlaybackSessionLifecycleEvent";
  return std::string(type.substr(type.rfind(prefix) == 0 ? prefix.size() : 0));
}

class SKYLPlaybackControllerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SKYLPlayerSDKManager::sharedManager().setPlayerFactory([this] {
      auto player = SimulatedPlayer::create(catalog);
      players_.push_back(player);
      return player;
    });
  }
  void TearDown() override { SKYLPlayerSDKManager::sharedManager().setPlayerFactory(nullptr); }

  // Plays every player a step at a time until the controller is done.
  void playAll(const std::shared_ptr<SKYLPlaybackController>& controller) {
    for (int i = 0; i < 10000 && !controller->finished(); ++i) {
      for (const auto& player : players_) player->advance(0.1);
      Dispatch::main().runUntilIdle();
    }
  }

  std::vector<std::shared_ptr<SimulatedPlayer>> players_;
};

TEST_F(SKYLPlaybackControllerTest, PlaysTwoVideosInOrderReportingEachLifecycleEvent) {
  auto controller =
      SKYLPlayerSDKManager::sharedManager().createPlaybackControllerWithSessionProvider(
          std::make_shared<SKYLBasicSessionProvider>());
  std::vector<std::string> events;
  std::vector<std::shared_ptr<SKYLPlaybackSession>> sessions;
  MediaTime lastTime = MediaTime::invalid();
  controller->setLifecycleHandler([&](const auto& session, const SKYLLifecycleEventPtr& event) {
    if (sessions.empty() || sessions.back() != session) sessions.push_back(session);
    events.push_back(std::to_string(sessions.size()) + " " + shortName(event->eventType()));
    if (event->eventType() == kSKYLPlaybackSessionLifecycleEventEnd) {
      lastTime = session->progressSource().currentTimeValue.get();
    }
  });
  controller->setVideos({videoAt("/a"), videoAt("/b")});
  EXPECT_EQ(controller->providerExtension()->playbackSession(), controller->currentSession());
  playAll(controller);
  ASSERT_TRUE(controller->finished());
  // The second session loaded while the first played: the application
  // hears its state (ready) as it becomes current.
  EXPECT_EQ(events, (std::vector<std::string>{"1 PlayRequest", "1 Play", "1 Ready", "1 End",
                                              "2 Ready", "2 PlayRequest", "2 Play", "2 End"}));
  EXPECT_EQ(lastTime, MediaTime::make(10, 1));
  EXPECT_EQ(sessions[0]->duration().get(), MediaTime::make(20, 1));
  EXPECT_EQ(sessions[0]->seekableRanges().get().at(0).duration, MediaTime::make(20, 1));
  EXPECT_FALSE(controller->providerExtension()->playbackSession());
}

TEST_F(SKYLPlaybackControllerTest, AFailedLoadAndAnErrorSessionAreReportedAndSkipped) {
  auto controller = SKYLPlaybackController::create(std::make_shared<SKYLBasicSessionProvider>());
  std::vector<std::string> events;
  controller->setLifecycleHandler([&](const auto&, const SKYLLifecycleEventPtr& event) {
    events.push_back(shortName(event->eventType()));
  });
  auto failed = SKYLBasicPlaybackSession::create(videoAt("/missing"), nullptr, nullptr);
  auto error = SKYLErrorSession::initWithPlaybackSession(
      failed, SKYLPlaybackSessionLifecycleEvent::eventWithType("kSKYLSSAILifecycleErrorEvent"));
  controller->deliverSessions({error});
  controller->setVideos({videoAt("/missing")});
  playAll(controller);
  EXPECT_TRUE(controller->finished());
  EXPECT_EQ(events, (std::vector<std::string>{"kSKYLSSAILifecycleErrorEvent", "PlayRequest", "Play",
                                              "Fail"}));
}

TEST(SKYLAdLedgerManagerTest, KeepsEveryCallAndAnswersVisibilityFromItsTable) {
  auto& ledger = SKYLAdLedgerManager::shared();
  ledger.clear();
  SKYLView view(300, 250);
  EXPECT_EQ(ledger.visiblePercentageForView(&view), 1.0);
  ledger.setVisiblePercentage(&view, 0.4);
  EXPECT_EQ(ledger.visiblePercentageForView(&view), 0.4);
  ledger.processEvent(2, {{std::string(kSKYLAdLedgerParameterAdTitleKey), std::string("Ferries")}});
  ledger.processEvent(3, {});
  const auto calls = ledger.calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].code, 2);
  EXPECT_EQ(std::any_cast<std::string>(calls[0].parameters.at("kSKYLAdLedgerParameterAdTitleKey")),
            "Ferries");
  // Only the latest calls are kept.
  for (size_t i = 0; i < SKYLAdLedgerManager::kKeptCalls; ++i) {
    ledger.processEvent(static_cast<int64_t>(10 + i), {});
  }
  const auto kept = ledger.calls();
  ASSERT_EQ(kept.size(), SKYLAdLedgerManager::kKeptCalls);
  EXPECT_EQ(kept.front().code, 10);
  EXPECT_EQ(kept.back().code, static_cast<int64_t>(10 + SKYLAdLedgerManager::kKeptCalls - 1));
  ledger.clear();
}

}  // namespace
}  // namespace skylark
