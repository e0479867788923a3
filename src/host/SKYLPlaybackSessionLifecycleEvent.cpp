#include "host/SKYLPlaybackSessionLifecycleEvent.h"

#include <iterator>
#include <vector>

#include "host/SKYLHostConstants.h"

namespace skylark {
namespace {

// The host's own event types, each held once for the process.
const std::string* hostType(std::string_view type) {
  static const std::vector<std::string> kTypes(std::begin(kSKYLPlaybackSessionLifecycleEventTypes),
                                               std::end(kSKYLPlaybackSessionLifecycleEventTypes));
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
      properties_(other.adEvent_ ? Properties() : other.properties_),
      progress_(other.progress_) {}

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
