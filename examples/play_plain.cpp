// The smallest application of the host SDK alone: one plain HLS stream
// through the manager, the basic session provider and a playback
// controller, on the simulated player, printing each lifecycle event.
#include <iostream>

#include "host/SKYLBasicSessionProvider.h"
#include "host/SKYLHostConstants.h"
#include "host/SKYLPlayerSDKManager.h"
#include "host/reference/SimulatedPlayer.h"
#include "platform/DispatchQueue.h"

int main() {
  using namespace skylark;
  const URL stream = *URL::parse("https://cdn.example.com/plain/master.m3u8");

  // The media back-end: a 30 s stream on a virtual clock.
  std::shared_ptr<SimulatedPlayer> player;
  SKYLPlayerSDKManager::sharedManager().setPlayerFactory([&] {
    player = SimulatedPlayer::create([](const URL&) {
      return std::optional(SimulatedMedia{MediaTime::make(30, 1), std::nullopt, {}});
    });
    return player;
  });

  auto controller =
      SKYLPlayerSDKManager::sharedManager().createPlaybackControllerWithSessionProvider(
          std::make_shared<SKYLBasicSessionProvider>());
  controller->setLifecycleHandler([](const auto& session, const SKYLLifecycleEventPtr& event) {
    std::cout << session->progressSource().currentTimeValue.get().seconds() << " s  "
              << event->eventType() << "\n";
  });
  controller->setVideos({SKYLVideo::initWithSources(
      {SKYLSource::initWithURL(stream, std::string(kSKYLDeliveryHLS), {})})});

  while (!controller->finished()) {
    if (player) player->advance(0.5);
    Dispatch::main().runUntilIdle();
  }
  return 0;
}
