#include "host/SKYLPlayerSDKManager.h"

namespace skylark {

SKYLPlayerSDKManager& SKYLPlayerSDKManager::sharedManager() {
  static auto* manager = new SKYLPlayerSDKManager;  // lives as long as the process
  return *manager;
}

void SKYLPlayerSDKManager::registerComponent(std::shared_ptr<SKYLComponent> component) {
  if (!component) return;
  component->postFeatureAnalytics();
  MutexLock lock(mutex_);
  components_.push_back(std::move(component));
}

std::vector<std::shared_ptr<SKYLComponent>> SKYLPlayerSDKManager::registeredComponents() const {
  MutexLock lock(mutex_);
  return components_;
}

std::shared_ptr<SKYLPlaybackController>
SKYLPlayerSDKManager::createPlaybackControllerWithSessionProvider(
    std::shared_ptr<SKYLSessionProvider> provider, ViewStrategy) {
  return SKYLPlaybackController::create(std::move(provider));
}

void SKYLPlayerSDKManager::setPlayerFactory(PlayerFactory factory) {
  MutexLock lock(mutex_);
  playerFactory_ = std::move(factory);
}

std::shared_ptr<Player> SKYLPlayerSDKManager::makePlayer() const {
  PlayerFactory factory;
  {
    MutexLock lock(mutex_);
    factory = playerFactory_;
  }
  return factory ? factory() : nullptr;
}

}  // namespace skylark
