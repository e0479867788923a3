#include "entry/SKYLVUXSessionProvider.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include "entry/SKYLSSAIAdditions.h"
#include "entry/SKYLSSAIComponent.h"
#include "host/SKYLBasicPlaybackSession.h"
#include "host/SKYLBasicSessionProvider.h"
#include "host/SKYLErrorSession.h"
#include "host/SKYLHostConstants.h"
#include "session/SKYLVUXSession.h"
#include "support/LogCapture.h"
#include "support/LoopbackServer.h"
#include "support/SessionHarness.h"
#include "support/VMAPFixtures.h"
#include "timeline/SKYLSSAIConstants.h"

namespace skylark {
namespace {

using namespace std::chrono_literals;

std::shared_ptr<SKYLSource> source(std::optional<std::string> delivery,
                                   std::optional<std::string> vmap, std::string version = "") {
  SKYLSource::Properties properties;
  if (vmap) properties[std::string(kSKYLSourcePropertyKeyVMAP)] = *vmap;
  if (!version.empty()) properties[std::string(kSKYLSourcePropertyKeyEXTXVersion)] = version;
  return SKYLSource::initWithURL(
      URL::parse("https://origin.example.com/" + version + "/master.m3u8"), std::move(delivery),
      properties);
}

// A listener that keeps what it is given.
struct Listener final : SKYLSessionListener {
  void deliverSessions(const std::vector<std::shared_ptr<SKYLPlaybackSession>>& sessions) override {
    deliveries.push_back(sessions);
  }
  std::vector<std::vector<std::shared_ptr<SKYLPlaybackSession>>> deliveries;
};

// An upstream provider that hands out the sessions it is given.
struct ScriptedProvider final : SKYLSessionProvider {
  std::vector<std::shared_ptr<SKYLPlaybackSession>> playbackSessionsForVideos(
      const std::vector<std::shared_ptr<SKYLVideo>>&,
      const std::shared_ptr<SKYLSessionListener>&) override {
    return sessions;
  }
  void setSessionCommonProperties(const std::shared_ptr<SKYLSessionCommonProperties>&) override {}
  bool shouldLoadVideo() const override { return load; }
  void setShouldLoadVideo(bool value) override { load = value; }
  std::vector<std::shared_ptr<SKYLPlaybackSession>> sessions;
  bool load = true;
};

TEST(SKYLSSAIAdditionsTest, FactoriesRegisterAComponentEachAndCopyTheOptions) {
  auto& manager = SKYLPlayerSDKManager::sharedManager();
  const size_t before = manager.registeredComponents().size();
  (void)createSSAIPlaybackController(manager);
  SKYLVUXSessionProviderOptions options;
  options.setMeridianLiveDetection(1);
  auto provider = createSSAISessionProviderWithUpstreamSessionProvider(manager, nullptr, &options);
  const auto components = manager.registeredComponents();
  ASSERT_EQ(components.size(), before + 2);
  EXPECT_EQ(components.back()->componentClass(), "SKYLSSAIComponent");
  EXPECT_EQ(components.back()->versionIdentifier(), "7.2.18.42");
  options.setMeridianLiveDetection(2);
  EXPECT_EQ(provider->options().meridianLiveDetection(), 1);
  EXPECT_FALSE(provider->upstreamSessionProvider()->shouldLoadVideo());
  EXPECT_EQ(kSKYLSSAISeekOffset, 0.20000000298023224);
  EXPECT_EQ(std::bit_cast<uint64_t>(kSKYLSSAISeekOffset), 0x3FC99999A0000000u);
}

TEST(SKYLSSAIAdditionsTest, ExtensionOperationsOnSessionsThatLackThem) {
  auto basic = SKYLBasicPlaybackSession::create(nullptr, nullptr, nullptr);
  auto extension = SKYLSessionProviderExtension::initWithPlaybackSession(basic);
  bool called = false;
  ssai_seekToTime(*extension, MediaTime::make(10, 1), [&](bool) { called = true; });
  Dispatch::main().runUntilIdle();
  EXPECT_FALSE(called);
  EXPECT_FALSE(ssai_canSeek(*extension));
  EXPECT_EQ(ssai_absoluteTimeAtContentTime(*extension, MediaTime::make(10, 1)), MediaTime::zero());
  EXPECT_EQ(ssai_contentTimeAtAbsoluteTime(*extension, MediaTime::make(10, 1)), MediaTime::zero());
  const SKYLSessionProviderExtension empty;
  EXPECT_FALSE(ssai_absoluteTimeAtContentTime(empty, MediaTime::make(10, 1)).isValid());
  const auto fromBytes = SKYLSource::initWithVMAPXMLData("<VMAP/>", {});
  EXPECT_FALSE(fromBytes->url());
  EXPECT_FALSE(fromBytes->deliveryMethod());
}

TEST(SKYLVUXSessionProviderTest, SourceSelection) {
  const std::string https = "https://ads.example.com/vmap.xml";
  const std::string http = "http://ads.example.com/vmap.xml";
  struct Case {
    std::string name;
    std::vector<std::shared_ptr<SKYLSource>> sources;
    std::optional<std::string> expectedURL;  // the chosen source's new URL
    std::string expectedOriginal;            // "original_source_url"
    bool error510;
  };
  const Case cases[] = {
      {"single HLS, no VMAP",
       {source(std::string(kSKYLDeliveryHLS), std::nullopt, "1")},
       "https://origin.example.com/1/master.m3u8",
       "",
       false},
      {"versions 3 and 4",
       {source("FlintSSAI", https, "3"), source("FlintSSAI", https, "4")},
       https,
       "https://origin.example.com/4/master.m3u8",
       false},
      {"equal versions keep the first",
       {source("FlintSSAI", https, "4"), source("FlintSSAI", https + "?b", "4")},
       https,
       "https://origin.example.com/4/master.m3u8",
       false},
      {"http only when no https",
       {source("FlintSSAI", http, "5"), source("FlintSSAI", https, "2")},
       https,
       "https://origin.example.com/2/master.m3u8",
       false},
      {"http alone",
       {source("FlintSSAI", http, "5"), source("DASH", std::nullopt, "6")},
       http,
       "https://origin.example.com/5/master.m3u8",
       true},
      {"nothing usable",
       {source("DASH", std::nullopt, "1"), source(std::nullopt, "not a url", "2")},
       std::nullopt,
       "",
       true},
  };
  for (const auto& c : cases) {
    auto provider =
        SKYLVUXSessionProvider::initWithOptions(nullptr, std::make_shared<ScriptedProvider>());
    auto properties = std::make_shared<SKYLSessionCommonProperties>();
    provider->setSessionCommonProperties(properties);
    test::LogCapture log;
    auto listener = std::make_shared<Listener>();
    (void)provider->playbackSessionsForVideos({}, listener);  // an empty batch delivers at once
    const auto chosen = properties->sourceSelectionPolicy(*SKYLVideo::initWithSources(c.sources));
    EXPECT_EQ(
        chosen && chosen->url() ? std::optional(chosen->url()->absoluteString()) : std::nullopt,
        c.expectedURL)
        << c.name;
    if (chosen && !c.expectedOriginal.empty()) {
      EXPECT_EQ(chosen->properties().at("original_source_url"), c.expectedOriginal) << c.name;
      EXPECT_EQ(chosen->deliveryMethod(), std::string(kSKYLDeliveryHLS)) << c.name;
    }
    const auto messages = log.messages();
    const bool logged =
        std::find(messages.begin(), messages.end(),
                  "Found nil delivery method or nil/missing/malformed VMAP URL in "
                  "-[SKYLVUXSessionProvider sourceSelectionPolicy]") != messages.end();
    EXPECT_EQ(logged, c.error510) << c.name;
  }
}

TEST(SKYLVUXSessionProviderTest, ResolvedSessionsLiveThirtySeconds) {
  auto clock = std::make_shared<ManualSessionClock>(SystemTime{});
  auto options = std::make_shared<SKYLVUXSessionProviderOptions>();
  options->setClock(clock);
  auto provider = SKYLVUXSessionProvider::initWithOptions(options, nullptr);
  const URL source = *URL::parse("https://meridian.skylark-ssai.net/v1/session/x");
  provider->recordLive2ResolvedSessionForSourceURL(
      source, *URL::parse("https://m.example.com/m.m3u8"), *URL::parse("https://m.example.com/t"));
  clock->advance(30);
  ASSERT_TRUE(provider->live2ResolvedSessionForSourceURL(source));
  clock->advance(0.001);
  EXPECT_FALSE(provider->live2ResolvedSessionForSourceURL(source));
  EXPECT_FALSE(provider->live2ResolvedSessionForSourceURL(source));  // dropped
}

TEST(SKYLVUXSessionProviderTest, BatchesDeliverOnceAllLoadedAndRefuseOverlaps) {
  SKYLPlayerSDKManager::sharedManager().setPlayerFactory(
      [] { return SimulatedPlayer::create([](const URL&) { return std::nullopt; }); });
  auto upstream = std::make_shared<ScriptedProvider>();
  auto makeSession = [](const std::string& vmap) {
    return SKYLBasicPlaybackSession::create(
        SKYLVideo::initWithSources({SKYLSource::initWithVMAPXMLData(vmap, {})}), nullptr,
        SKYLPlayerSDKManager::sharedManager().makePlayer());
  };
  const std::string good = test::vmapDocument(test::adBreak("start", "00:00:10"));
  upstream->sessions = {makeSession(good), makeSession("not xml")};
  auto provider = SKYLVUXSessionProvider::initWithOptions(nullptr, upstream);
  auto listener = std::make_shared<Listener>();
  (void)provider->playbackSessionsForVideos({nullptr, nullptr}, listener);
  (void)provider->playbackSessionsForVideos({nullptr, nullptr}, listener);  // busy: ignored
  Dispatch::main().runUntil([&] { return !listener->deliveries.empty(); }, 5s);
  Dispatch::main().runUntilIdle();
  ASSERT_EQ(listener->deliveries.size(), 1u);
  const auto& delivered = listener->deliveries[0];
  ASSERT_EQ(delivered.size(), 2u);
  const auto failed = std::find_if(delivered.begin(), delivered.end(), [](const auto& s) {
    return dynamic_cast<SKYLErrorSession*>(s.get()) != nullptr;
  });
  ASSERT_NE(failed, delivered.end());
  const auto& event = static_cast<SKYLErrorSession&>(**failed).errorEvent();
  EXPECT_EQ(event->eventType(), kSKYLSSAILifecycleErrorEvent);
  const auto* error = event->property<SKYLError>(kSKYLSSAILifecycleEventPropertiesKeyError);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, 509);
  ASSERT_TRUE(error->underlyingError);
  EXPECT_EQ(error->underlyingError->code, 4011);

  // A batch holding an upstream error session is never delivered.
  auto stuck = SKYLVUXSessionProvider::initWithOptions(nullptr, upstream);
  const auto loading = makeSession(good);
  upstream->sessions = {
      loading, SKYLErrorSession::initWithPlaybackSession(
                   makeSession(good), SKYLPlaybackSessionLifecycleEvent::eventWithType("x"))};
  auto waiting = std::make_shared<Listener>();
  (void)stuck->playbackSessionsForVideos({nullptr, nullptr}, waiting);
  // Its one wrapped session loads (its stream goes to the player), and still nothing comes.
  ASSERT_TRUE(
      Dispatch::main().runUntil([&] { return loading->player()->currentItem() != nullptr; }, 5s));
  Dispatch::main().runUntilIdle();
  EXPECT_TRUE(waiting->deliveries.empty());
  SKYLPlayerSDKManager::sharedManager().setPlayerFactory(nullptr);
}

TEST(SKYLVUXSessionProviderTest, EndToEndOverLoopback) {
  test::LoopbackServer sink([](httplib::Server& s) {
    s.Get(R"(/b/.*)", [](const httplib::Request&, httplib::Response& r) { r.status = 204; });
  });
  std::string vmap = test::vmapDocument(
      test::adBreak("start", "00:00:10", "pre") + test::adBreak("00:00:30", "00:00:10", "mid"), 60,
      40);
  for (const auto& [from, to] : std::map<std::string, std::string>{
           {"https://beacon.example.com/imp/pre", "/b/impression"},
           {"https://beacon.example.com/break/start/pre", "/b/break-start"}}) {
    vmap.replace(vmap.find(from), from.size(), sink.url(to));
  }
  test::LoopbackServer ads([&](httplib::Server& s) {
    s.Get("/vmap.xml", [&](const httplib::Request&, httplib::Response& r) {
      r.set_content(vmap, "application/xml");
    });
  });
  SKYLPlayerSDKManager::sharedManager().setPlayerFactory([] {
    return SimulatedPlayer::create([](const URL& url) -> std::optional<SimulatedMedia> {
      if (url.absoluteString() != "https://cdn.example.com/stream.m3u8") return std::nullopt;
      return SimulatedMedia{MediaTime::make(60, 1), std::nullopt, {}};
    });
  });
  auto controller = createSSAIPlaybackController(SKYLPlayerSDKManager::sharedManager());
  std::shared_ptr<SKYLVUXSession> session;
  controller->setLifecycleHandler(
      [&](const auto& s, const auto&) { session = std::dynamic_pointer_cast<SKYLVUXSession>(s); });
  controller->setVideos({SKYLVideo::initWithSources({SKYLSource::initWithURL(
      URL::parse(ads.url("/vmap.xml")), std::string(kSKYLDeliveryHLS), {})})});
  ASSERT_TRUE(Dispatch::main().runUntil([&] { return session != nullptr; }, 10s));
  auto player = std::dynamic_pointer_cast<SimulatedPlayer>(session->player());
  ASSERT_TRUE(player);
  Dispatch::main().runUntilIdle();
  EXPECT_EQ(session->duration().get(), MediaTime::make(40, 1));
  player->runFor(35, 0.25);
  EXPECT_NEAR(session->progressSource().currentTimeValue.get().seconds(), 25, 0.3);
  ASSERT_TRUE(sink.waitForRequests(2, 5s));
  std::set<std::string> received;
  for (const auto& request : sink.requests()) received.insert(request.path);
  EXPECT_EQ(received, (std::set<std::string>{"/b/impression", "/b/break-start"}));
  SKYLPlayerSDKManager::sharedManager().setPlayerFactory(nullptr);
}

}  // namespace
}  // namespace skylark
