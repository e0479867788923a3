#include <fmt/format.h>
#include <gtest/gtest.h>

#include "environment/SessionEnvironment.h"
#include "host/SKYLBasicPlaybackSession.h"
#include "host/SKYLHostConstants.h"
#include "host/reference/SimulatedPlayer.h"
#include "live2/SKYLSSAILive2Coordinator.h"
#include "live2/SKYLSSAILive2SessionClient.h"
#include "live2/SKYLSSAILive2Time.h"
#include "live2/SKYLSSAILive2Timeline.h"
#include "platform/DispatchQueue.h"
#include "session/SKYLVUXSession.h"
#include "support/LogCapture.h"
#include "support/MockLiveService.h"
#include "support/RecordingTransport.h"
#include "support/SessionHarness.h"
#include "timeline/SKYLSSAIConstants.h"
#include "tracking/SKYLVelaAnalyticsDigester.h"

namespace skylark {
namespace {

using namespace std::chrono_literals;
using Events = std::vector<std::string>;

const std::string kToken = "eyJhbGciOiJub25lIn0.eyJzdWIiOiJ0ZXN0In0.c2ln";
// The stream's program date at time zero.
const SystemTime kBase = *SKYLSSAILive2ParseProgramDateTime("2024-05-01T10:00:00Z");

// An ad whose tracking events name beacons https://b.example.com/ID/TYPE.
std::string adJSON(const std::string& id, int startSecond, int duration) {
  std::string events;
  for (const char* type : {"impression", "start", "complete", "pause", "resume"}) {
    events +=
        fmt::format(R"({}{{"eventType": "{}", "beaconUrls": ["https://b.example.com/{}/{}"]}})",
                    events.empty() ? "" : ",", type, id, type);
  }
  return fmt::format(
      R"({{"adId": "{}", "adTitle": "Ad {}", "startTimeInSeconds": {}, "durationInSeconds": {},
          "adProgramDateTime": "2024-05-01T10:00:{:02}Z", "trackingEvents": [{}]}})",
      id, id, startSecond, duration, startSecond, events);
}

std::string availJSON(const std::vector<std::string>& ads) {
  std::string list;
  for (const auto& ad : ads) list += (list.empty() ? "" : ",") + ad;
  return R"({"avails": [{"availId": "a1", "startTimeInSeconds": 10, "durationInSeconds": 20, "ads": [)" +
         list + "]}]}";
}

// A newer-live source on the mock service, played on a simulated player
// whose stream starts at kBase. The session's clock is a manual one: the
// tracking poll runs when the test moves it on, never on its own.
class LiveSessionTest : public ::testing::Test {
 protected:
  std::shared_ptr<SKYLVUXSession> makeSession() {
    player_ = SimulatedPlayer::create([](const URL&) {
      return std::optional(SimulatedMedia{MediaTime::make(3600, 1), kBase, {}});
    });
    auto source =
        SKYLSource::initWithURL(URL::parse(service_.sessionURL()), std::string(kSKYLDeliveryHLS),
                                {{std::string(kSKYLSourceParameterKeyLivePlaybackToken), kToken}});
    basic_ =
        SKYLBasicPlaybackSession::create(SKYLVideo::initWithSources({source}), source, player_);
    auto session = SKYLVUXSession::initWithUpstreamSession(basic_, {}, environment_);
    session->lifecycleState().addObserver(
        [this](const SKYLLifecycleEventPtr& event) {
          if (!event) return;
          std::string line = test::shortEventName(event->eventType());
          if (const auto* ad = event->property<std::shared_ptr<SKYLAd>>(
                  kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd)) {
            line += " " + (*ad)->adId;
          }
          if (const auto* sequence = event->property<std::shared_ptr<SKYLAdSequence>>(
                  kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdSequence)) {
            line += " " + std::to_string((*sequence)->ads.size());
          }
          if (const auto* progress = event->property<MediaTime>(
                  kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdProgress)) {
            maxProgress_ = std::max(maxProgress_, progress->seconds());
            return;
          }
          all_.push_back(line);
          if (line.rfind("Ad", 0) == 0) events_.push_back(line);  // the ad events
        },
        false);
    return session;
  }

  bool loaded(const std::shared_ptr<SKYLVUXSession>& session) {
    return Dispatch::main().runUntil(
        [&] {
          return session->loadState().get() >= 2 &&
                 player_->itemStatus.get() == PlayerItem::Status::readyToPlay;
        },
        5s);
  }

  // Until the session's live timeline presents `ads` ads: the poll's answer
  // travels over loopback and is merged on the poll's own queue.
  bool presents(const std::shared_ptr<SKYLVUXSession>& session, int64_t ads) {
    return Dispatch::main().runUntil(
        [&] { return session->live2Coordinator()->presentableAdCount("a1") >= ads; }, 5s);
  }

  void playUntil(double seconds) {
    player_->play();
    while (player_->currentTime().seconds() < seconds - 1e-9) {
      player_->advance(0.25);
      Dispatch::main().runUntilIdle();
    }
  }

  std::vector<std::string> beacons() {
    Dispatch::main().runUntilIdle();
    return transport_->urls;
  }

  test::MockLiveService service_;
  std::shared_ptr<ManualSessionClock> clock_ = std::make_shared<ManualSessionClock>(kBase);
  std::shared_ptr<test::RecordingTransport> transport_ =
      std::make_shared<test::RecordingTransport>();
  std::shared_ptr<const SessionEnvironment> environment_ =
      SessionEnvironment::make({clock_, nullptr, transport_});
  std::shared_ptr<SimulatedPlayer> player_;
  std::shared_ptr<SKYLBasicPlaybackSession> basic_;
  Events events_;
  Events all_;  // every lifecycle event but progress
  double maxProgress_ = 0;
};

TEST_F(LiveSessionTest, AvailsBecomeAdEventsAndSequencesAreAnnouncedAgainAsAdsAppear) {
  service_.scriptTracking({{200, availJSON({adJSON("x", 10, 10)}), 0},
                           {200, availJSON({adJSON("x", 10, 10), adJSON("y", 20, 10)}), 0}});
  auto session = makeSession();
  session->load();
  ASSERT_TRUE(loaded(session));
  EXPECT_FALSE(session->live2ContentOnly());
  ASSERT_TRUE(presents(session, 1));
  clock_->advance(5);  // the next poll
  ASSERT_TRUE(presents(session, 2));
  playUntil(5);
  EXPECT_EQ(events_, Events{});
  // Now both ads are known: entering the avail announces the two.
  playUntil(12);
  EXPECT_EQ(events_, (Events{"AdSequenceEnter 2", "AdEnter x"}));
  EXPECT_FALSE(session->canSeek());
  EXPECT_EQ(session->currentTime(), 0);  // no content clock on this path
  playUntil(31);
  EXPECT_EQ(events_, (Events{"AdSequenceEnter 2", "AdEnter x", "AdExit x", "AdEnter y", "AdExit y",
                             "AdSequenceExit 2"}));
  EXPECT_LE(maxProgress_, 10.0);
  EXPECT_GT(maxProgress_, 9.0);
  EXPECT_TRUE(session->canSeek());
  EXPECT_EQ(service_.sessionBodies().size(), 1u);
  session->load();  // loaded already: nothing more
  Dispatch::main().runUntilIdle();
  EXPECT_EQ(service_.sessionBodies().size(), 1u);
}

TEST_F(LiveSessionTest, ASecondAdBecomingPresentableReannouncesTheSequence) {
  service_.scriptTracking({{200, availJSON({adJSON("x", 10, 10)}), 0},
                           {200, availJSON({adJSON("x", 10, 10), adJSON("y", 20, 10)}), 0}});
  auto session = makeSession();
  session->load();
  ASSERT_TRUE(loaded(session));
  ASSERT_TRUE(presents(session, 1));
  playUntil(12);
  EXPECT_EQ(events_, (Events{"AdSequenceEnter 1", "AdEnter x"}));
  clock_->advance(5);  // the next poll adds y
  ASSERT_TRUE(presents(session, 2));
  playUntil(13);
  EXPECT_EQ(events_, (Events{"AdSequenceEnter 1", "AdEnter x", "AdSequenceEnter 2"}));
  playUntil(31);
  EXPECT_EQ(events_, (Events{"AdSequenceEnter 1", "AdEnter x", "AdSequenceEnter 2", "AdExit x",
                             "AdEnter y", "AdExit y", "AdSequenceExit 2"}));
}

// Live beacons take the VOD beacons' path: the session's transport (the
// application's), the digest notification and the delivery ledger.
TEST_F(LiveSessionTest, LiveBeaconsGoThroughTheSessionsTransportDigestAndLedger) {
  service_.scriptTracking({{200, availJSON({adJSON("x", 10, 10)}), 0}});
  SKYLAdLedgerManager::shared().clear();
  std::vector<std::string> digested;
  const auto token = environment_->notificationCenter.addObserver(
      std::string(kSKYLSSAIAnalayticsDigestNotification), [&](const Notification& n) {
        if (const auto* url = std::any_cast<URL>(&n.object))
          digested.push_back(url->absoluteString());
      });
  auto session = makeSession();
  session->load();
  ASSERT_TRUE(loaded(session));
  ASSERT_TRUE(presents(session, 1));
  playUntil(21);
  environment_->notificationCenter.removeObserver(token);
  const std::vector<std::string> expected = {"https://b.example.com/x/impression",
                                             "https://b.example.com/x/start",
                                             "https://b.example.com/x/complete"};
  EXPECT_EQ(beacons(), expected);
  EXPECT_EQ(digested, expected);
  // A live break does not pause the stream: no pause or play is made up around it.
  for (const auto& event : all_) {
    EXPECT_EQ(event.find("Pause"), std::string::npos) << event;
    EXPECT_NE(event.rfind("Play", 0), 0u) << event;
  }
  // The ad ledger hears of the live break and its ad, without a pod index.
  const auto calls = SKYLAdLedgerManager::shared().calls();
  std::vector<int64_t> codes;
  for (const auto& call : calls) {
    codes.push_back(call.code);
    EXPECT_EQ(call.parameters.count("kSKYLAdLedgerParameterPodIndexKey"), 0u) << call.code;
  }
  EXPECT_EQ(codes, (std::vector<int64_t>{0, 2, 3, 1, 5}));
  const auto counts = session->deliveryLedger()->counts();
  for (const char* type : {"impression", "start", "complete"}) {
    const auto found = counts.find({"x", type});
    ASSERT_NE(found, counts.end()) << type;
    EXPECT_EQ(found->second.handed, 1) << type;
    EXPECT_EQ(found->second.answered2xx, 1) << type;
  }
}

// An ad the service sends without an id is an ad all the same: entered,
// its timeline ad carrying its impression URLs.
TEST_F(LiveSessionTest, AnAdWithoutAnIdIsEnteredWithItsImpressions) {
  std::string ad = adJSON("x", 10, 10);
  ad.replace(ad.find(R"("adId": "x", )"), 13, "");
  service_.scriptTracking({{200, availJSON({ad}), 0}});
  std::shared_ptr<SKYLAd> entered;
  auto session = makeSession();
  session->lifecycleState().addObserver(
      [&](const SKYLLifecycleEventPtr& event) {
        if (event && event->eventType() == kSKYLPlaybackSessionLifecycleEventAdEnter) {
          entered = *event->property<std::shared_ptr<SKYLAd>>(
              kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd);
        }
      },
      false);
  session->load();
  ASSERT_TRUE(loaded(session));
  ASSERT_TRUE(presents(session, 1));
  playUntil(12);
  EXPECT_EQ(events_, (Events{"AdSequenceEnter 1", "AdEnter "}));
  ASSERT_TRUE(entered);
  const auto* velaAd =
      entered->property<std::shared_ptr<const SKYLVelaAd>>(kSKYLSSAIAdPropertiesKeyVelaAd);
  ASSERT_TRUE(velaAd && *velaAd);
  ASSERT_EQ((*velaAd)->impressionURLs().size(), 1u);
  EXPECT_EQ((*velaAd)->impressionURLs().front().absoluteString(),
            "https://b.example.com/x/impression");
  playUntil(21);
  EXPECT_EQ(events_, (Events{"AdSequenceEnter 1", "AdEnter ", "AdExit ", "AdSequenceExit 1"}));
}

// A pause inside a live ad is the ad's pause: the application hears
// AdPause and AdResume, and the service gets the ad's pause and resume
// beacons for each, every time.
TEST_F(LiveSessionTest, PausingInALiveAdPausesTheAdAndFiresItsBeaconsEachTime) {
  service_.scriptTracking({{200, availJSON({adJSON("x", 10, 10)}), 0}});
  auto session = makeSession();
  session->load();
  ASSERT_TRUE(loaded(session));
  ASSERT_TRUE(presents(session, 1));
  playUntil(5);
  basic_->avPlayerPause();  // in content: a plain pause, no beacon
  basic_->avPlayerPlay();
  playUntil(12);
  events_.clear();
  transport_->urls.clear();
  for (int i = 0; i < 2; ++i) {
    basic_->avPlayerPause();
    basic_->avPlayerPlay();
  }
  EXPECT_EQ(events_, (Events{"AdPause x", "AdResume x", "AdPause x", "AdResume x"}));
  EXPECT_EQ(beacons(), (std::vector<std::string>{
                           "https://b.example.com/x/pause", "https://b.example.com/x/resume",
                           "https://b.example.com/x/pause", "https://b.example.com/x/resume"}));
  const auto counts = session->deliveryLedger()->counts();
  EXPECT_EQ(counts.at({"x", "pause"}).handed, 2);
  EXPECT_EQ(counts.at({"x", "resume"}).handed, 2);
}

TEST_F(LiveSessionTest, AResolvedSessionIsResumedWithoutANewPost) {
  auto session = makeSession();
  const std::string base = service_.sessionURL().substr(0, service_.sessionURL().find("/v1"));
  int lookups = 0;
  session->setLive2ResolvedSessionLookup([&](const URL&) {
    ++lookups;
    return std::make_shared<const SKYLSSAILive2ResolvedSession>(
        *URL::parse(base + "/live/m.m3u8"), *URL::parse(base + "/live/tracking"),
        SKYLSSAILive2ResolvedSession::Clock::now());
  });
  session->load();
  ASSERT_TRUE(loaded(session));
  EXPECT_EQ(lookups, 1);
  EXPECT_TRUE(service_.sessionBodies().empty());
  EXPECT_EQ(player_->currentItem()->url().absoluteString(), base + "/live/m.m3u8");
}

TEST_F(LiveSessionTest, AFailedStartPlaysTheContentAndStillLoads) {
  service_.setSessionAnswer({503, "busy", 0});
  test::LogCapture log;
  auto session = makeSession();
  session->load();
  ASSERT_TRUE(loaded(session));
  EXPECT_EQ(session->loadState().get(), 2);
  EXPECT_TRUE(session->live2ContentOnly());
  EXPECT_FALSE(session->live2Coordinator());
  EXPECT_EQ(player_->currentItem()->url().absoluteString(), service_.sessionURL());
  const auto messages = log.messages();
  EXPECT_TRUE(std::any_of(messages.begin(), messages.end(), [](const std::string& m) {
    return m.rfind("Meridian Live session init failed, playing without tracking.", 0) == 0;
  }));
}

TEST_F(LiveSessionTest, OnlyTheNewestStartCounts) {
  service_.setSessionAnswer({200, test::MockLiveService::relativeSessionBody(), 200});
  auto session = makeSession();
  auto source = [&](const std::string& query) {
    return SKYLSource::initWithURL(URL::parse(service_.sessionURL() + query),
                                   std::string(kSKYLDeliveryHLS), {});
  };
  session->loadLive2Session(source("?first"));
  const auto first = session->live2Coordinator();
  session->loadLive2Session(source("?first"));  // the same source, still opening: nothing
  EXPECT_EQ(session->live2Coordinator(), first);
  session->loadLive2Session(source("?second"));
  ASSERT_TRUE(loaded(session));
  EXPECT_NE(session->live2Coordinator(), first);
  // The first POST was cancelled when its session was torn down (the mock
  // may or may not have recorded it first).
  EXPECT_LE(service_.sessionBodies().size(), 2u);
  EXPECT_EQ(session->ssaiSource()->url()->absoluteString(),
            player_->currentItem()->url().absoluteString());
  EXPECT_FALSE(session->live2ContentOnly());
}

// An older live SSAI stream: its ad data arrives as timed metadata, parsed
// on the global queue while the main queue plays.
TEST(LiveMetadataTest, TimedMetadataInstallsBreaksWhilePlaying) {
  const std::string ad =
      R"(<vmap:AdBreak timeOffset="start"><vmap:AdSource><vmap:VASTAdData><VAST version="3.0">
      <Ad><InLine><AdTitle>Live</AdTitle><Creatives><Creative><Linear><Duration>00:00:05</Duration>
      </Linear></Creative></Creatives></InLine></Ad></VAST></vmap:VASTAdData></vmap:AdSource></vmap:AdBreak>)";
  const std::string metadata =
      R"(<vmap:VMAP xmlns:vmap="http://www.iab.net/videosuite/vmap" xmlns:sk="http://example.com/sk" version="1.0">)" +
      ad + ad +
      R"(<vmap:Extensions><sk:Player><sk:TimingData><sk:adBreakDurationMs>10000</sk:adBreakDurationMs>
      <sk:adBreakRemainingMs>10000</sk:adBreakRemainingMs><sk:adRemainingMs>5000</sk:adRemainingMs>
      </sk:TimingData></sk:Player></vmap:Extensions></vmap:VMAP>)";
  std::vector<TimedMetadataItem> items;
  for (int at = 10; at <= 90; at += 20) items.push_back({MediaTime::make(at, 1), metadata});
  auto player = SimulatedPlayer::create([&](const URL&) {
    return std::optional(SimulatedMedia{MediaTime::make(120, 1), std::nullopt, items});
  });
  auto source = SKYLSource::initWithURL(URL::parse("https://live.example.com/channel.m3u8"),
                                        std::string(kSKYLDeliveryHLS), {});
  source->setLiveSSAISource(true);
  auto basic =
      SKYLBasicPlaybackSession::create(SKYLVideo::initWithSources({source}), source, player);
  auto session = SKYLVUXSession::initWithUpstreamSession(basic, {});
  session->setMeridianLiveDetection(0);
  std::vector<std::string> entered;
  session->lifecycleState().addObserver(
      [&](const SKYLLifecycleEventPtr& event) {
        if (event && event->eventType() == kSKYLPlaybackSessionLifecycleEventAdSequenceEnter) {
          entered.push_back(std::to_string(player->currentTime().seconds()));
        }
      },
      false);
  session->load();
  ASSERT_TRUE(Dispatch::main().runUntil(
      [&] { return player->itemStatus.get() == PlayerItem::Status::readyToPlay; }, 5s));
  player->play();
  auto playTo = [&](double seconds) {
    while (player->currentTime().seconds() < seconds) {
      player->advance(0.25);
      Dispatch::main().runUntilIdle();  // parsing on the global queue races the playhead
    }
  };
  playTo(11);
  // The first break, delivered at 10 s, is installed while the playhead is in it.
  ASSERT_TRUE(Dispatch::main().runUntil(
      [&] { return session->timeline()->adSequences()->size() >= 1; }, 5s));
  playTo(120);
  EXPECT_FALSE(entered.empty());
}

}  // namespace
}  // namespace skylark
