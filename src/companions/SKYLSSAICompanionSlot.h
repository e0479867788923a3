#pragma once

#include <memory>
#include <string>

#include "host/SKYLAd.h"
#include "host/SKYLKVOManager.h"
#include "host/SKYLPlaybackSession.h"
#include "host/SKYLView.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaCompanionAd.h"

namespace SKYLARK_API skylark {

class SKYLSSAICompanionSlot;

// Hears what a slot shows; every method may be left as it is.
class SKYLSSAICompanionSlotDelegate {
 public:
  virtual ~SKYLSSAICompanionSlotDelegate() = default;
  virtual void companionSlotDidShow(SKYLSSAICompanionSlot&, const SKYLVelaCompanionAd&) {}
};

// A place on the application's screen where companion ads may appear.
// When its session enters an ad, the slot shows the largest of the ad's
// companions that fits its size (companions ordered by width then height)
// and reports the companion's creative view; a click on it reports the
// companion click. Main queue only.
class SKYLSSAICompanionSlot : public std::enable_shared_from_this<SKYLSSAICompanionSlot> {
 public:
  SKYLSSAICompanionSlot() = delete;
  static std::shared_ptr<SKYLSSAICompanionSlot> initWithView(std::shared_ptr<SKYLView> view,
                                                             int64_t width, int64_t height);

  const std::shared_ptr<SKYLView>& view() const { return view_; }
  void setView(std::shared_ptr<SKYLView> view) { view_ = std::move(view); }
  int64_t width() const { return width_; }
  void setWidth(int64_t width) { width_ = width; }
  int64_t height() const { return height_; }
  void setHeight(int64_t height) { height_ = height; }

  // The session whose lifecycle the slot follows (held weakly).
  void setSession(const std::shared_ptr<SKYLPlaybackSession>& session);
  std::shared_ptr<SKYLPlaybackSession> session() const { return session_.lock(); }
  void setDelegate(std::weak_ptr<SKYLSSAICompanionSlotDelegate> delegate) {
    delegate_ = std::move(delegate);
  }

  const std::shared_ptr<const SKYLVelaCompanionAd>& currentCompanionAd() const {
    return currentCompanionAd_;
  }
  const std::shared_ptr<SKYLAd>& currentAd() const { return currentAd_; }

  // The lifecycle events of the session: ad-enter fills the slot.
  void didEnterAd(const SKYLLifecycleEventPtr& event);
  // The viewer tapped the companion shown.
  void clickCurrentCompanion();

 private:
  SKYLSSAICompanionSlot(std::shared_ptr<SKYLView> view, int64_t width, int64_t height)
      : view_(std::move(view)), width_(width), height_(height) {}
  void configureWithView(const std::shared_ptr<SKYLView>&, int64_t, int64_t) {}

  std::shared_ptr<SKYLView> view_;
  int64_t width_;
  int64_t height_;
  SKYLKVOManager kvoManager_;
  std::weak_ptr<SKYLPlaybackSession> session_;
  std::shared_ptr<const SKYLVelaCompanionAd> currentCompanionAd_;
  std::shared_ptr<SKYLAd> currentAd_;
  std::weak_ptr<SKYLSSAICompanionSlotDelegate> delegate_;
};

}  // namespace skylark
