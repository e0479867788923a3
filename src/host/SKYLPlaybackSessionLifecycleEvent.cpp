#include "host/SKYLPlaybackSessionLifecycleEvent.h"

#include <array>

#include "host/SKYLHostConstants.h"

namespace skylark {
namespace {

// The host's own event types, each held once for the process.
const std::string* hostType(std::string_view type) {
  static const std::array<std::string, 19> kTypes = {
      std::string(kSKYLPlaybackSessionLifecycleEventAdProgress),
      std::string(kSKYLPlaybackSessionLifecycleEventAdEnter),
      std::string(kSKYLPlaybackSessionLifecycleEventAdExit),
      std::string(kSKYLPlaybackSessionLifecycleEventAdSequenceEnter),
      std::string(kSKYLPlaybackSessionLifecycleEventAdSequenceExit),
      std::string(kSKYLPlaybackSessionLifecycleEventReady),
      std::string(kSKYLPlaybackSessionLifecycleEventPlay),
      std::string(kSKYLPlaybackSessionLifecycleEventPlayRequest),
      std::string(kSKYLPlaybackSessionLifecycleEventPause),
      std::string(kSKYLPlaybackSessionLifecycleEventPauseRequest),
      std::string(kSKYLPlaybackSessionLifecycleEventWillPauseForAd),
      std::string(kSKYLPlaybackSessionLifecycleEventEnd),
      std::string(kSKYLPlaybackSessionLifecycleEventResumeComplete),
      std::string(kSKYLPlaybackSessionLifecycleEventFail),
      std::string(kSKYLPlaybackSessionLifecycleEventAdPause),
      std::string(kSKYLPlaybackSessionLifecycleEventAdResume),
      std::string(kSKYLPlaybackSessionLifecycleEventAdSkipped),
      std::string(kSKYLPlaybackSessionLifecycleEventBumperEnter),
      std::string(kSKYLPlaybackSessionLifecycleEventBumperExit)};
  for (const auto& known : kTypes) {
    if (known == type) return &known;
  }
  return nullptr;
}

const std::string* typeText(std::string_view type, std::string& own) {
  if (const auto* shared = hostType(type)) return shared;
  own = type;
  return &own;
}

}  // namespace

SKYLPlaybackSessionLifecycleEvent::SKYLPlaybackSessionLifecycleEvent(Made, std::string_view type,
                                                                     Properties properties)
    : eventType_(typeText(type, ownType_)), properties_(std::move(properties)) {}

SKYLPlaybackSessionLifecycleEvent::SKYLPlaybackSessionLifecycleEvent(
    Made, std::string_view type, std::shared_ptr<SKYLAd> ad, std::optional<MediaTime> progress)
    : eventType_(typeText(type, ownType_)),
      adEvent_(true),
      ad_(std::move(ad)),
      progress_(progress) {}

SKYLPlaybackSessionLifecycleEvent::SKYLPlaybackSessionLifecycleEvent(
    const SKYLPlaybackSessionLifecycleEvent& other)
    : ownType_(other.ownType_),
      eventType_(other.eventType_ == &other.ownType_ ? &ownType_ : other.eventType_),
      adEvent_(other.adEvent_),
      ad_(other.ad_),
      progress_(other.progress_),
      properties_(other.adEvent_ ? Properties() : other.properties_) {}

const SKYLPlaybackSessionLifecycleEvent::Properties& SKYLPlaybackSessionLifecycleEvent::properties()
    const {
  if (adEvent_) {
    std::call_once(mapMade_, [this] {
      if (ad_) properties_[std::string(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd)] = ad_;
      if (progress_) {
        properties_[std::string(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdProgress)] =
            *progress_;
      }
    });
  }
  return properties_;
}

}  // namespace skylark
