#pragma once

#include <any>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "host/SKYLAd.h"
#include "host/SKYLHostConstants.h"
#include "platform/MediaTime.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// One happening of a playback session, as the host reports it to the
// application: a type (one of the kSKYLPlaybackSessionLifecycleEvent...
// constants, or a component's own) and properties by key. Immutable, shared.
class SKYLPlaybackSessionLifecycleEvent {
  struct Made {
    explicit Made() = default;
  };

 public:
  using Properties = std::map<std::string, std::any, std::less<>>;

  static std::shared_ptr<const SKYLPlaybackSessionLifecycleEvent> eventWithType(
      std::string_view type, Properties properties = {}) {
    return std::make_shared<const SKYLPlaybackSessionLifecycleEvent>(Made(), type,
                                                                     std::move(properties));
  }
  // An event whose properties are the ad, when there is one, under the ad
  // key and the progress, when given, under the progress key. A session
  // makes one on every tick of an ad, so the two are held as they are and
  // the map is built only if someone asks for it.
  static std::shared_ptr<const SKYLPlaybackSessionLifecycleEvent> adEventWithType(
      std::string_view type, std::shared_ptr<SKYLAd> ad,
      std::optional<MediaTime> progress = std::nullopt) {
    return std::make_shared<const SKYLPlaybackSessionLifecycleEvent>(Made(), type, std::move(ad),
                                                                     progress);
  }

  // Made by the two above only.
  SKYLPlaybackSessionLifecycleEvent(Made, std::string_view type, Properties properties);
  SKYLPlaybackSessionLifecycleEvent(Made, std::string_view type, std::shared_ptr<SKYLAd> ad,
                                    std::optional<MediaTime> progress);
  SKYLPlaybackSessionLifecycleEvent(const SKYLPlaybackSessionLifecycleEvent& other);
  SKYLPlaybackSessionLifecycleEvent& operator=(const SKYLPlaybackSessionLifecycleEvent&) = delete;

  const std::string& eventType() const { return *eventType_; }
  const Properties& properties() const;
  // The property under key as T, or null when absent or of another type.
  template <typename T>
  const T* property(std::string_view key) const {
    if (adEvent_) {
      if constexpr (std::is_same_v<T, std::shared_ptr<SKYLAd>>) {
        if (key == kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd && ad_) return &ad_;
      } else if constexpr (std::is_same_v<T, MediaTime>) {
        if (key == kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdProgress && progress_) {
          return &*progress_;
        }
      }
      return nullptr;
    }
    const auto found = properties_.find(key);
    return found == properties_.end() ? nullptr : std::any_cast<T>(&found->second);
  }

 private:
  // A host type points at the process's one copy of it (an event is made on
  // every progress tick of every session); any other type is kept here.
  std::string ownType_;
  const std::string* eventType_;
  // An ad event's two properties; its map is made from them once. What
  // the destructor reads comes first: a session lets go of one event on
  // every tick of an ad, long after it was made.
  bool adEvent_ = false;
  std::shared_ptr<SKYLAd> ad_;
  mutable Properties properties_;
  std::optional<MediaTime> progress_;
  mutable std::once_flag mapMade_;
};

using SKYLLifecycleEventPtr = std::shared_ptr<const SKYLPlaybackSessionLifecycleEvent>;

}  // namespace skylark
