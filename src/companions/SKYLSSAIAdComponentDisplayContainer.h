#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "companions/SKYLSSAICompanionSlot.h"
#include "companions/SKYLVUXAdClickThrough.h"
#include "host/SKYLPlaybackSessionLifecycleEvent.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The application's side of the in-app browser: each method is optional
// (does nothing unless overridden).
class SKYLSSAIAdComponentDisplayContainerDelegate {
 public:
  virtual ~SKYLSSAIAdComponentDisplayContainerDelegate() = default;
  virtual void willOpenInAppBrowserWithAd(const SKYLLifecycleEventPtr&) {}
  virtual void didOpenInAppBrowserWithAd(const SKYLLifecycleEventPtr&) {}
  virtual void willOpenExternalBrowserWithAd(const SKYLLifecycleEventPtr&) {}
  virtual void willCloseInAppBrowserWithAd(const SKYLLifecycleEventPtr&) {}
  virtual void didCloseInAppBrowserWithAd(const SKYLLifecycleEventPtr&) {}
};

// Where ad click-throughs and the in-app browser's lifecycle go: holds the
// application's companion slots, routes a click-through to the nearest
// view controller in the tapped view's responder chain (pausing playback),
// and passes browser events to the delegate. Main queue only.
class SKYLSSAIAdComponentDisplayContainer {
 public:
  using ClickThroughHandler = std::function<void(const SKYLVUXAdClickThrough&)>;

  SKYLSSAIAdComponentDisplayContainer() = delete;
  static std::shared_ptr<SKYLSSAIAdComponentDisplayContainer> initWithCompanionSlots(
      std::vector<std::shared_ptr<SKYLSSAICompanionSlot>> companionSlots);

  const std::vector<std::shared_ptr<SKYLSSAICompanionSlot>>& companionSlots() const {
    return slots_;
  }
  void setDelegate(std::weak_ptr<SKYLSSAIAdComponentDisplayContainerDelegate> delegate) {
    delegate_ = std::move(delegate);
  }
  // The session playing; the slots follow it too.
  void setSession(const std::shared_ptr<SKYLPlaybackSession>& session);
  std::shared_ptr<SKYLPlaybackSession> session() const { return session_.lock(); }

  void deliverAdClickThrough(const SKYLVUXAdClickThrough& clickThrough);
  // Presenting the in-app browser and advancing sessions are hooks.
  void presentLearnMoreWebViewControllerFromViewController(
      SKYLViewController&, const std::shared_ptr<SKYLAd>&, const std::optional<URL>&,
      const std::shared_ptr<SKYLPlaybackSession>&) {}
  void didAdvanceToPlaybackSession(const std::shared_ptr<SKYLPlaybackSession>&) {}

  void willPresentWebViewController(const SKYLLifecycleEventPtr& event);
  void didPresentWebViewController(const SKYLLifecycleEventPtr& event);
  void actionButtonPressed(const SKYLLifecycleEventPtr& event);
  // Both dismissal steps resume playback; the second play is harmless.
  void willDismissWebViewController(const SKYLLifecycleEventPtr& event);
  void didDismissWebViewController(const SKYLLifecycleEventPtr& event);

 private:
  explicit SKYLSSAIAdComponentDisplayContainer(
      std::vector<std::shared_ptr<SKYLSSAICompanionSlot>> slots)
      : slots_(std::move(slots)) {}
  void configureCommon();
  void play();

  std::vector<std::shared_ptr<SKYLSSAICompanionSlot>> slots_;
  std::weak_ptr<SKYLSSAIAdComponentDisplayContainerDelegate> delegate_;
  std::weak_ptr<SKYLPlaybackSession> session_;
  ClickThroughHandler nextBlock_;
};

}  // namespace skylark
