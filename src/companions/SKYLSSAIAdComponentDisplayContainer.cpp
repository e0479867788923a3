#include "companions/SKYLSSAIAdComponentDisplayContainer.h"

namespace skylark {

std::shared_ptr<SKYLSSAIAdComponentDisplayContainer>
SKYLSSAIAdComponentDisplayContainer::initWithCompanionSlots(
    std::vector<std::shared_ptr<SKYLSSAICompanionSlot>> companionSlots) {
  std::shared_ptr<SKYLSSAIAdComponentDisplayContainer> container(
      new SKYLSSAIAdComponentDisplayContainer(std::move(companionSlots)));
  container->configureCommon();
  return container;
}

void SKYLSSAIAdComponentDisplayContainer::configureCommon() {
  nextBlock_ = [this](const SKYLVUXAdClickThrough& clickThrough) {
    if (clickThrough.session()) clickThrough.session()->avPlayerPause();
    // The nearest responder able to present, from the tapped view upwards.
    for (auto responder = clickThrough.sender() ? clickThrough.sender()->nextResponder() : nullptr;
         responder; responder = responder->nextResponder()) {
      if (auto* presenter = responder->asPresenter()) {
        presentLearnMoreWebViewControllerFromViewController(
            *presenter, clickThrough.ad(), clickThrough.clickThroughURL(), clickThrough.session());
        return;
      }
    }
  };
}

void SKYLSSAIAdComponentDisplayContainer::setSession(
    const std::shared_ptr<SKYLPlaybackSession>& session) {
  session_ = session;
  for (const auto& slot : slots_) slot->setSession(session);
}

void SKYLSSAIAdComponentDisplayContainer::deliverAdClickThrough(
    const SKYLVUXAdClickThrough& clickThrough) {
  if (nextBlock_) nextBlock_(clickThrough);
}

void SKYLSSAIAdComponentDisplayContainer::play() {
  if (const auto session = session_.lock()) session->avPlayerPlay();
}

void SKYLSSAIAdComponentDisplayContainer::willPresentWebViewController(
    const SKYLLifecycleEventPtr& event) {
  if (const auto delegate = delegate_.lock()) delegate->willOpenInAppBrowserWithAd(event);
}

void SKYLSSAIAdComponentDisplayContainer::didPresentWebViewController(
    const SKYLLifecycleEventPtr& event) {
  if (const auto delegate = delegate_.lock()) delegate->didOpenInAppBrowserWithAd(event);
}

void SKYLSSAIAdComponentDisplayContainer::actionButtonPressed(const SKYLLifecycleEventPtr& event) {
  if (const auto delegate = delegate_.lock()) delegate->willOpenExternalBrowserWithAd(event);
}

void SKYLSSAIAdComponentDisplayContainer::willDismissWebViewController(
    const SKYLLifecycleEventPtr& event) {
  if (const auto delegate = delegate_.lock()) delegate->willCloseInAppBrowserWithAd(event);
  play();
}

void SKYLSSAIAdComponentDisplayContainer::didDismissWebViewController(
    const SKYLLifecycleEventPtr& event) {
  if (const auto delegate = delegate_.lock()) delegate->didCloseInAppBrowserWithAd(event);
  play();
}

}  // namespace skylark
