#include "companions/SKYLSSAIAdComponentDisplayContainer.h"

#include <type_traits>

#include <gtest/gtest.h>

#include "host/SKYLBasicPlaybackSession.h"
#include "host/SKYLHostConstants.h"
#include "support/SessionHarness.h"
#include "support/VMAPFixtures.h"

namespace skylark {
namespace {

// Only the designated initialisers make these.
static_assert(!std::is_default_constructible_v<SKYLSSAICompanionSlot>);
static_assert(!std::is_default_constructible_v<SKYLSSAIAdComponentDisplayContainer>);
static_assert(!std::is_default_constructible_v<SKYLVUXAdClickThrough>);

struct RecordingDelegate final : SKYLSSAIAdComponentDisplayContainerDelegate {
  void willCloseInAppBrowserWithAd(const SKYLLifecycleEventPtr&) override {
    calls.push_back("willClose");
  }
  void didCloseInAppBrowserWithAd(const SKYLLifecycleEventPtr&) override {
    calls.push_back("didClose");
  }
  std::vector<std::string> calls;  // willOpen... are left as they are
};

std::shared_ptr<SKYLBasicPlaybackSession> bareSession(std::vector<std::string>& events) {
  auto player = SimulatedPlayer::create([](const URL&) { return std::nullopt; });
  auto session = SKYLBasicPlaybackSession::create(nullptr, nullptr, player);
  session->lifecycleState().addObserver(
      [&events](const SKYLLifecycleEventPtr& e) {
        events.push_back(test::shortEventName(e->eventType()));
      },
      false);
  return session;
}

TEST(SKYLSSAIAdComponentDisplayContainerTest, AClickThroughWithoutAPresenterOnlyPauses) {
  std::vector<std::string> events;
  auto session = bareSession(events);
  auto container = SKYLSSAIAdComponentDisplayContainer::initWithCompanionSlots({});
  auto tapped = std::make_shared<SKYLView>();
  tapped->setNextResponder(std::make_shared<SKYLView>());
  container->deliverAdClickThrough(*SKYLVUXAdClickThrough::initWithAd(
      std::make_shared<SKYLAd>(), session, URL::parse("https://advertiser.example.com/"), tapped));
  EXPECT_EQ(events, (std::vector<std::string>{"PauseRequest", "Pause"}));
}

TEST(SKYLSSAIAdComponentDisplayContainerTest, DismissingPlaysTwiceAfterEachCloseCall) {
  std::vector<std::string> events;
  auto session = bareSession(events);
  auto container = SKYLSSAIAdComponentDisplayContainer::initWithCompanionSlots({});
  container->setSession(session);
  auto delegate = std::make_shared<RecordingDelegate>();
  container->setDelegate(delegate);
  const auto event = SKYLPlaybackSessionLifecycleEvent::eventWithType("browser");
  container->willPresentWebViewController(event);  // not implemented by the delegate: skipped
  container->willDismissWebViewController(event);
  container->didDismissWebViewController(event);
  EXPECT_EQ(delegate->calls, (std::vector<std::string>{"willClose", "didClose"}));
  EXPECT_EQ(std::count(events.begin(), events.end(), "Play"), 2);
}

TEST(SKYLSSAICompanionSlotTest, OnlyAdEnterFillsTheSlot) {
  std::vector<std::string> events;
  auto session = bareSession(events);
  auto view = std::make_shared<SKYLView>(300, 250);
  auto slot = SKYLSSAICompanionSlot::initWithView(view, 300, 250);
  slot->setSession(session);
  auto ad = std::make_shared<SKYLAd>();
  ad->adId = "x";
  const SKYLPlaybackSessionLifecycleEvent::Properties properties = {
      {std::string(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd), ad}};
  session->lifecycleState().set(SKYLPlaybackSessionLifecycleEvent::eventWithType(
      kSKYLPlaybackSessionLifecycleEventAdExit, properties));
  EXPECT_FALSE(slot->currentAd());
  session->lifecycleState().set(SKYLPlaybackSessionLifecycleEvent::eventWithType(
      kSKYLPlaybackSessionLifecycleEventAdEnter, properties));
  EXPECT_EQ(slot->currentAd(), ad);
}

TEST(SKYLSSAICompanionSlotTest, TheLargestFittingCompanionIsShownAndItsViewReportedOnce) {
  auto companion = [](const std::string& id, int w, int h) {
    return "<Companion id=\"" + id + "\" width=\"" + std::to_string(w) + "\" height=\"" +
           std::to_string(h) +
           "\"><StaticResource creativeType=\"image/png\">https://img.example.com/" + id +
           ".png</StaticResource><TrackingEvents><Tracking event=\"creativeView\">"
           "https://b.example.com/view/" +
           id +
           "</Tracking></TrackingEvents>"
           "<CompanionClickTracking>https://b.example.com/click/" +
           id + "</CompanionClickTracking></Companion>";
  };
  std::string ad = test::adBreak("start", "00:00:10", "a");
  ad.replace(ad.find("</Creatives>"), 0,
             "<Creative><CompanionAds>" + companion("small", 120, 60) + companion("box", 300, 250) +
                 companion("leader", 728, 90) + "</CompanionAds></Creative>");
  test::SessionHarness app(
      test::vmapDocument(ad + test::adBreak("00:00:10", "00:00:05", "plain"), 45, 30));
  auto view = std::make_shared<SKYLView>(400, 300);
  auto slot = SKYLSSAICompanionSlot::initWithView(view, 400, 300);
  ASSERT_TRUE(app.start([&] {
    app.session->setAdDisplayContainer(
        SKYLSSAIAdComponentDisplayContainer::initWithCompanionSlots({slot}));
  }));
  app.playUntil(3);
  ASSERT_TRUE(slot->currentCompanionAd());
  EXPECT_EQ(*slot->currentCompanionAd()->identifier(), "box");
  EXPECT_EQ(view->shownContent(), "https://img.example.com/box.png");
  slot->clickCurrentCompanion();
  app.playUntil(12);
  const auto& urls = app.transport->urls;
  EXPECT_EQ(std::count(urls.begin(), urls.end(), "https://b.example.com/view/box"), 1);
  EXPECT_EQ(std::count(urls.begin(), urls.end(), "https://b.example.com/click/box"), 1);
  EXPECT_EQ(std::count(urls.begin(), urls.end(), "https://b.example.com/view/small"), 0);

  // The next ad has no companion that fits: the slot and its view empty.
  app.playUntil(20);
  EXPECT_FALSE(slot->currentCompanionAd());
  EXPECT_EQ(view->shownContent(), "");
  slot->clickCurrentCompanion();  // nothing shown, nothing to report
  EXPECT_EQ(std::count(urls.begin(), urls.end(), "https://b.example.com/click/box"), 1);
}

}  // namespace
}  // namespace skylark
