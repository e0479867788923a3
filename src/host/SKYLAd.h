#pragma once

#include <any>
#include <map>
#include <string>

#include "platform/MediaTime.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The host's record of one ad, as the application sees it in lifecycle
// events. Public properties use the kSKYLAdPropertyKey... keys; private
// properties carry what a component hands itself (such as a skip handler).
struct SKYLAd {
  using Properties = std::map<std::string, std::any, std::less<>>;

  std::string title;
  std::string adId;
  MediaTime beginTime;  // content time
  MediaTime duration;
  int64_t adIndex = -1;
  Properties properties;
  Properties privateProperties;
  bool userDidInteract = false;

  template <typename T>
  const T* property(std::string_view key) const {
    const auto found = properties.find(key);
    return found == properties.end() ? nullptr : std::any_cast<T>(&found->second);
  }
  template <typename T>
  const T* privateProperty(std::string_view key) const {
    const auto found = privateProperties.find(key);
    return found == privateProperties.end() ? nullptr : std::any_cast<T>(&found->second);
  }
};

}  // namespace skylark
