#include "companions/SKYLSSAICompanionSlot.h"

#include "host/SKYLHostConstants.h"
#include "timeline/SKYLSSAIConstants.h"
#include "timeline/SKYLVelaAd.h"
#include "tracking/SKYLVelaAdAnalyticsSession.h"

namespace skylark {
namespace {

SKYLVelaAdAnalyticsSession* analyticsOf(const SKYLAd& ad) {
  const auto* session = ad.property<std::shared_ptr<SKYLVelaAdAnalyticsSession>>(
      kSKYLSSAIAdPropertiesKeyVelaAdAnalyticsSession);
  return session ? session->get() : nullptr;
}

}  // namespace

std::shared_ptr<SKYLSSAICompanionSlot> SKYLSSAICompanionSlot::initWithView(
    std::shared_ptr<SKYLView> view, int64_t width, int64_t height) {
  std::shared_ptr<SKYLSSAICompanionSlot> slot(new SKYLSSAICompanionSlot(view, width, height));
  slot->configureWithView(view, width, height);
  return slot;
}

void SKYLSSAICompanionSlot::setSession(const std::shared_ptr<SKYLPlaybackSession>& session) {
  kvoManager_.stopObserving();
  session_ = session;
  if (!session) return;
  std::weak_ptr<SKYLSSAICompanionSlot> weak = shared_from_this();
  kvoManager_.startObserving<SKYLLifecycleEventPtr>(
      session->lifecycleState(),
      [weak](const SKYLLifecycleEventPtr& event) {
        const auto self = weak.lock();
        if (self && event && event->eventType() == kSKYLPlaybackSessionLifecycleEventAdEnter) {
          self->didEnterAd(event);
        }
      },
      false);
}

void SKYLSSAICompanionSlot::didEnterAd(const SKYLLifecycleEventPtr& event) {
  const auto* ad =
      event->property<std::shared_ptr<SKYLAd>>(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd);
  if (!ad || !*ad) return;
  currentAd_ = *ad;
  currentCompanionAd_ = nullptr;
  const auto* velaAd =
      (*ad)->property<std::shared_ptr<const SKYLVelaAd>>(kSKYLSSAIAdPropertiesKeyVelaAd);
  if (velaAd && *velaAd && (*velaAd)->companionsCollection()) {
    // Ordered by width then height: the last that fits is the largest.
    for (const auto& companion :
         (*velaAd)->companionsCollection()->orderedCompanionAdsWithWidthThenHeight()) {
      if (companion->width() <= width_ && companion->height() <= height_)
        currentCompanionAd_ = companion;
    }
  }
  if (!currentCompanionAd_) {
    // Nothing of this ad fits: the previous ad's companion goes.
    if (view_) view_->show({});
    return;
  }
  if (view_) {
    view_->show(currentCompanionAd_->staticResourceURL()
                    ? currentCompanionAd_->staticResourceURL()->absoluteString()
                    : currentCompanionAd_->identifier().value_or(""));
  }
  if (auto* analytics = analyticsOf(**ad); analytics && currentCompanionAd_->identifier()) {
    analytics->trackCompanionCreativeView(*currentCompanionAd_->identifier());
  }
  if (const auto delegate = delegate_.lock())
    delegate->companionSlotDidShow(*this, *currentCompanionAd_);
}

void SKYLSSAICompanionSlot::clickCurrentCompanion() {
  if (!currentAd_ || !currentCompanionAd_ || !currentCompanionAd_->identifier()) return;
  currentAd_->userDidInteract = true;
  if (auto* analytics = analyticsOf(*currentAd_)) {
    analytics->trackCompanionClick(*currentCompanionAd_->identifier());
  }
}

}  // namespace skylark
