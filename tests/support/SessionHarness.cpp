#include "support/SessionHarness.h"

#include <chrono>

#include "host/SKYLHostConstants.h"
#include "platform/DispatchQueue.h"

namespace skylark::test {

std::string shortEventName(std::string_view type) {
  constexpr std::string_view prefix = "kSKYLPlaybackSessionLifecycleEvent";
  if (type.substr(0, prefix.size()) == prefix) return std::string(type.substr(prefix.size()));
  return std::string(type);
}

SessionHarness::SessionHarness(const std::string& vmap, SKYLVUXSessionProviderOptions options) {
  auto& manager = SKYLPlayerSDKManager::sharedManager();
  manager.setPlayerFactory([this] {
    player = SimulatedPlayer::create([this](const URL& url) -> std::optional<SimulatedMedia> {
      if (!session || !session->timeline() || session->timeline()->velaURL() != url)
        return std::nullopt;
      return SimulatedMedia{session->timeline()->payloadLength(), std::nullopt, {}};
    });
    return player;
  });
  if (!options.beaconTransport()) options.setBeaconTransport(transport);
  if (!options.clock()) options.setClock(clock);
  auto provider = createSSAISessionProviderWithUpstreamSessionProvider(manager, nullptr, &options);
  controller = manager.createPlaybackControllerWithSessionProvider(provider);
  controller->setLifecycleHandler([this](const auto& s, const SKYLLifecycleEventPtr& event) {
    if (!session) session = std::dynamic_pointer_cast<SKYLVUXSession>(s);
    lifecycle.push_back(event);
    std::string line = shortEventName(event->eventType());
    if (const auto* ad = event->property<std::shared_ptr<SKYLAd>>(
            kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd);
        ad && *ad) {
      line += " " + (*ad)->adId;
      if (event->eventType() == kSKYLPlaybackSessionLifecycleEventAdEnter) currentAd = *ad;
    }
    if (event->eventType() != kSKYLPlaybackSessionLifecycleEventAdProgress) events_.push_back(line);
  });
  SKYLAdLedgerManager::shared().clear();
  controller->setVideos({SKYLVideo::initWithSources({SKYLSource::initWithVMAPXMLData(vmap, {})})});
}

SessionHarness::~SessionHarness() {
  SKYLPlayerSDKManager::sharedManager().setPlayerFactory(nullptr);
  SKYLAdLedgerManager::shared().clear();
}

bool SessionHarness::start(const std::function<void()>& beforeReady) {
  if (beforeReady) {
    if (!Dispatch::main().runUntil([this] { return session || controller->finished(); },
                                   std::chrono::seconds(10)) ||
        !session || (player && player->itemStatus.get() != PlayerItem::Status::unknown)) {
      return false;
    }
    beforeReady();
  }
  return Dispatch::main().runUntil(
      [this] {
        return controller->finished() ||
               (session && player && player->itemStatus.get() != PlayerItem::Status::unknown);
      },
      std::chrono::seconds(10));
}

void SessionHarness::playUntil(double seconds, double step) {
  settle();
  for (int guard = 0; guard < 1'000'000 && player; ++guard) {
    const double now = streamTime();
    if (now >= seconds - 1e-9 || player->playedToEnd.get()) break;
    const bool moving = player->rate() != 0;
    const double played = std::min(step, (seconds - now) / std::max(1.0f, player->rate()));
    // Time moves for the player and the session's timers together.
    clock->advance(played);
    player->advance(played);
    settle();
    if (!moving && player->rate() == 0 && streamTime() == now) break;  // paused: nothing will move
  }
}

void SessionHarness::settle() { Dispatch::main().runUntilIdle(); }

std::vector<std::string> SessionHarness::takeEvents() { return std::exchange(events_, {}); }

std::vector<std::string> SessionHarness::takeBeacons() {
  return std::exchange(transport->urls, {});
}

}  // namespace skylark::test
