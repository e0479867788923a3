#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "host/SKYLKVOManager.h"
#include "host/SKYLSessionProvider.h"
#include "host/SKYLSessionProviderExtension.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Plays videos one after another: asks its provider for sessions, takes
// them as they are delivered, and plays each in order (begin, play, to the
// end, next). The application hears every lifecycle event of every session
// it plays, and reaches the one playing through the provider extension.
// Main queue only.
//
//   idle --setVideos--> waiting --deliverSessions--> playing(session i)
//   playing(i) --end or failure--> playing(i + 1) ... --last ends--> idle
class SKYLPlaybackController : public SKYLSessionListener,
                               public std::enable_shared_from_this<SKYLPlaybackController> {
 public:
  using LifecycleHandler = std::function<void(const std::shared_ptr<SKYLPlaybackSession>& session,
                                              const SKYLLifecycleEventPtr& event)>;

  static std::shared_ptr<SKYLPlaybackController> create(
      std::shared_ptr<SKYLSessionProvider> provider);

  const std::shared_ptr<SKYLSessionProvider>& sessionProvider() const { return provider_; }
  const std::shared_ptr<SKYLSessionCommonProperties>& sessionCommonProperties() const {
    return commonProperties_;
  }
  const std::shared_ptr<SKYLSessionProviderExtension>& providerExtension() const {
    return extension_;
  }
  std::shared_ptr<SKYLPlaybackSession> currentSession() const { return current_; }

  void setLifecycleHandler(LifecycleHandler handler) { handler_ = std::move(handler); }
  // Play each session as soon as it begins (the default) or wait for play().
  void setAutoPlay(bool autoPlay) { autoPlay_ = autoPlay; }

  void setVideos(const std::vector<std::shared_ptr<SKYLVideo>>& videos);
  void play();
  void pause();
  // True once every delivered session has ended or failed.
  bool finished() const { return !current_ && queue_.empty() && delivered_; }

  void deliverSessions(const std::vector<std::shared_ptr<SKYLPlaybackSession>>& sessions) override;

 private:
  explicit SKYLPlaybackController(std::shared_ptr<SKYLSessionProvider> provider);
  void playNext();
  void sessionChanged(const SKYLLifecycleEventPtr& event);

  std::shared_ptr<SKYLSessionProvider> provider_;
  std::shared_ptr<SKYLSessionCommonProperties> commonProperties_ =
      std::make_shared<SKYLSessionCommonProperties>();
  std::shared_ptr<SKYLSessionProviderExtension> extension_ =
      std::make_shared<SKYLSessionProviderExtension>();
  std::deque<std::shared_ptr<SKYLPlaybackSession>> queue_;
  std::shared_ptr<SKYLPlaybackSession> current_;
  SKYLKVOManager currentObservation_;
  LifecycleHandler handler_;
  bool autoPlay_ = true;
  bool delivered_ = false;
};

}  // namespace skylark
