#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "host/Player.h"
#include "host/SKYLComponent.h"
#include "host/SKYLPlaybackController.h"
#include "host/SKYLSessionProvider.h"
#include "host/SKYLView.h"
#include "platform/ThreadAnnotations.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The host SDK's entry point: the component registry, playback controller
// creation, and the player factory every basic session gets its player
// from (the application installs its back-end: the simulated player, or a
// real one).
class SKYLPlayerSDKManager {
 public:
  using PlayerFactory = std::function<std::shared_ptr<Player>()>;
  // Makes the view that shows a session's player; may be empty.
  using ViewStrategy = std::function<std::shared_ptr<SKYLView>(const std::shared_ptr<Player>&)>;

  static SKYLPlayerSDKManager& sharedManager();

  void registerComponent(std::shared_ptr<SKYLComponent> component);
  std::vector<std::shared_ptr<SKYLComponent>> registeredComponents() const;

  std::shared_ptr<SKYLPlaybackController> createPlaybackControllerWithSessionProvider(
      std::shared_ptr<SKYLSessionProvider> provider, ViewStrategy viewStrategy = nullptr);

  void setPlayerFactory(PlayerFactory factory);
  // A fresh player from the installed factory; null without one.
  std::shared_ptr<Player> makePlayer() const;

 private:
  mutable Mutex mutex_;
  std::vector<std::shared_ptr<SKYLComponent>> components_ SKYL_GUARDED_BY(mutex_);
  PlayerFactory playerFactory_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
