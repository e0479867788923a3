#pragma once

#include <memory>

#include "host/SKYLPlaybackSession.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// What the host hands the application for the session playing: a weak
// reference to it, for operations that components add.
class SKYLSessionProviderExtension {
 public:
  static std::shared_ptr<SKYLSessionProviderExtension> initWithPlaybackSession(
      const std::shared_ptr<SKYLPlaybackSession>& session) {
    auto extension = std::make_shared<SKYLSessionProviderExtension>();
    extension->session_ = session;
    return extension;
  }
  std::shared_ptr<SKYLPlaybackSession> playbackSession() const { return session_.lock(); }
  void setPlaybackSession(const std::shared_ptr<SKYLPlaybackSession>& session) {
    session_ = session;
  }

 private:
  std::weak_ptr<SKYLPlaybackSession> session_;
};

}  // namespace skylark
