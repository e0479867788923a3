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

}  // namespace

SKYLPlaybackSessionLifecycleEvent::SKYLPlaybackSessionLifecycleEvent(Made, std::string_view type,
                                                                     Properties properties)
    : eventType_(hostType(type)), properties_(std::move(properties)) {
  if (!eventType_) {
    ownType_ = type;
    eventType_ = &ownType_;
  }
}

SKYLPlaybackSessionLifecycleEvent::SKYLPlaybackSessionLifecycleEvent(
    const SKYLPlaybackSessionLifecycleEvent& other)
    : ownType_(other.ownType_),
      eventType_(other.eventType_ == &other.ownType_ ? &ownType_ : other.eventType_),
      properties_(other.properties_) {}

}  // namespace skylark
