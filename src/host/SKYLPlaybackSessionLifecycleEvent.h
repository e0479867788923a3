#pragma once

#include <any>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace skylark {

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

  // Made by eventWithType only.
  SKYLPlaybackSessionLifecycleEvent(Made, std::string_view type, Properties properties);
  SKYLPlaybackSessionLifecycleEvent(const SKYLPlaybackSessionLifecycleEvent& other);
  SKYLPlaybackSessionLifecycleEvent& operator=(const SKYLPlaybackSessionLifecycleEvent&) = delete;

  const std::string& eventType() const { return *eventType_; }
  const Properties& properties() const { return properties_; }
  // The property under key as T, or null when absent or of another type.
  template <typename T>
  const T* property(std::string_view key) const {
    const auto found = properties_.find(key);
    return found == properties_.end() ? nullptr : std::any_cast<T>(&found->second);
  }

 private:
  // A host type points at the process's one copy of it (an event is made on
  // every progress tick of every session); any other type is kept here.
  std::string ownType_;
  const std::string* eventType_;
  Properties properties_;
};

using SKYLLifecycleEventPtr = std::shared_ptr<const SKYLPlaybackSessionLifecycleEvent>;

}  // namespace skylark
