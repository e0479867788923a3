#include "host/SKYLPlaybackController.h"

#include "host/SKYLErrorSession.h"
#include "host/SKYLHostConstants.h"
#include "platform/DispatchQueue.h"

namespace skylark {

std::shared_ptr<SKYLPlaybackController> SKYLPlaybackController::create(
    std::shared_ptr<SKYLSessionProvider> provider) {
  std::shared_ptr<SKYLPlaybackController> controller(
      new SKYLPlaybackController(std::move(provider)));
  if (controller->provider_) {
    controller->provider_->setSessionCommonProperties(controller->commonProperties_);
  }
  return controller;
}

SKYLPlaybackController::SKYLPlaybackController(std::shared_ptr<SKYLSessionProvider> provider)
    : provider_(std::move(provider)) {}

void SKYLPlaybackController::setVideos(const std::vector<std::shared_ptr<SKYLVideo>>& videos) {
  SKYL_DCHECK_MAIN_THREAD();
  if (!provider_) return;
  (void)provider_->playbackSessionsForVideos(videos, shared_from_this());
}

void SKYLPlaybackController::deliverSessions(
    const std::vector<std::shared_ptr<SKYLPlaybackSession>>& sessions) {
  delivered_ = true;
  queue_.insert(queue_.end(), sessions.begin(), sessions.end());
  if (!current_) playNext();
}

void SKYLPlaybackController::playNext() {
  currentObservation_.stopObserving();
  current_ = nullptr;
  extension_->setPlaybackSession(nullptr);
  if (queue_.empty()) return;
  current_ = queue_.front();
  queue_.pop_front();
  extension_->setPlaybackSession(current_);
  std::weak_ptr<SKYLPlaybackController> weak = shared_from_this();
  const auto session = current_;
  currentObservation_.startObserving<SKYLLifecycleEventPtr>(
      session->lifecycleState(),
      [weak, session](const SKYLLifecycleEventPtr& event) {
        const auto self = weak.lock();
        if (self && self->current_ == session) self->sessionChanged(event);
      },
      /*initial=*/true);
  if (current_ != session) return;  // an error session moved on already
  session->setSessionCommonProperties(commonProperties_);
  session->begin();
  if (autoPlay_) session->avPlayerPlay();
}

void SKYLPlaybackController::sessionChanged(const SKYLLifecycleEventPtr& event) {
  if (!event) return;
  const auto session = current_;
  if (handler_) handler_(session, event);
  const bool over = event->eventType() == kSKYLPlaybackSessionLifecycleEventEnd ||
                    event->eventType() == kSKYLPlaybackSessionLifecycleEventFail ||
                    dynamic_cast<SKYLErrorSession*>(session.get()) != nullptr;
  if (!over) return;
  // Move on after the current announcement has reached every observer.
  std::weak_ptr<SKYLPlaybackController> weak = shared_from_this();
  Dispatch::main().async([weak, session] {
    const auto self = weak.lock();
    if (self && self->current_ == session) self->playNext();
  });
}

void SKYLPlaybackController::play() {
  if (current_) current_->avPlayerPlay();
}

void SKYLPlaybackController::pause() {
  if (current_) current_->avPlayerPause();
}

}  // namespace skylark
