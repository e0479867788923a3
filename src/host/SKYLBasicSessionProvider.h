#pragma once

#include <memory>

#include "host/SKYLSessionProvider.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

class SKYLPlayerSDKManager;

// The host's own provider: one SKYLBasicPlaybackSession per video, each on
// a fresh player from the manager; loads them when shouldLoadVideo is set
// (the default), then delivers the list to the listener at once.
class SKYLBasicSessionProvider final : public SKYLSessionProvider {
 public:
  SKYLBasicSessionProvider() = default;

  std::vector<std::shared_ptr<SKYLPlaybackSession>> playbackSessionsForVideos(
      const std::vector<std::shared_ptr<SKYLVideo>>& videos,
      const std::shared_ptr<SKYLSessionListener>& withListener) override;
  void setSessionCommonProperties(
      const std::shared_ptr<SKYLSessionCommonProperties>& properties) override {
    commonProperties_ = properties;
  }
  bool shouldLoadVideo() const override { return shouldLoadVideo_; }
  void setShouldLoadVideo(bool load) override { shouldLoadVideo_ = load; }

 private:
  std::weak_ptr<SKYLSessionCommonProperties> commonProperties_;
  bool shouldLoadVideo_ = true;
};

}  // namespace skylark
