// The smallest SSAI application: a video whose source carries a VMAP URL,
// played through the SSAI playback controller on the simulated player,
// printing each lifecycle event with the content time.
//
//   play_vod https://ads.example.com/vmap.xml
#include <iostream>

#include "entry/SKYLSSAIAdditions.h"
#include "host/SKYLHostConstants.h"
#include "host/reference/SimulatedPlayer.h"
#include "platform/DispatchQueue.h"
#include "session/SKYLVUXSession.h"

int main(int argc, char** argv) {
  using namespace skylark;
  if (argc != 2 || !URL::parse(argv[1]) || !URL::parse(argv[1])->isHTTPOrHTTPS()) {
    std::cerr << "usage: play_vod VMAP_URL   (an http or https address)\n";
    return 2;
  }
  auto& manager = SKYLPlayerSDKManager::sharedManager();
  std::shared_ptr<SKYLPlaybackController> controller;

  // The media back-end: the stitched stream is as long as the VMAP says.
  std::shared_ptr<SimulatedPlayer> player;
  manager.setPlayerFactory([&] {
    player = SimulatedPlayer::create([&](const URL&) -> std::optional<SimulatedMedia> {
      const auto session = std::dynamic_pointer_cast<SKYLVUXSession>(controller->currentSession());
      if (!session || !session->timeline()) return std::nullopt;
      return SimulatedMedia{session->timeline()->payloadLength(), std::nullopt, {}};
    });
    return player;
  });

  SKYLVUXSessionProviderOptions options;
  auto headers = options.httpHeaders();
  headers.emplace_back("X-Example", "play_vod");
  options.setHttpHeaders(headers);
  controller = manager.createPlaybackControllerWithSessionProvider(
      createSSAISessionProviderWithUpstreamSessionProvider(manager, nullptr, &options));
  controller->setLifecycleHandler([](const auto& session, const SKYLLifecycleEventPtr& event) {
    std::cout << session->progressSource().currentTimeValue.get().seconds() << " s  "
              << event->eventType() << "\n";
  });

  const auto source =
      SKYLSource::initWithURL(URL::parse("https://origin.example.com/vod/master.m3u8"), "FlintSSAI",
                              {{std::string(kSKYLSourcePropertyKeyVMAP), argv[1]}});
  controller->setVideos({SKYLVideo::initWithSources({source})});

  while (!controller->finished()) {
    if (player) player->advance(0.5);
    Dispatch::main().runUntil([] { return false; }, std::chrono::milliseconds(1));
  }
  return 0;
}
