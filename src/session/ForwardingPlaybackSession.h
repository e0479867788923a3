#pragma once

#include <memory>

#include "host/SKYLPlaybackSession.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A session that passes every operation to the session it wraps. A
// decorator derives from it and overrides only what it changes; since the
// host interface is all pure, an operation added there fails to compile
// here until it is forwarded. Main queue only.
class ForwardingPlaybackSession : public SKYLPlaybackSession {
 public:
  explicit ForwardingPlaybackSession(std::shared_ptr<SKYLPlaybackSession> inner)
      : inner_(std::move(inner)) {}

  const std::shared_ptr<SKYLPlaybackSession>& innerPlaybackSession() const { return inner_; }

  Observable<SKYLLifecycleEventPtr>& lifecycleState() override { return inner_->lifecycleState(); }
  SKYLBasicPlaybackProgress& progressSource() override { return inner_->progressSource(); }
  Observable<MediaTime>& duration() override { return inner_->duration(); }
  Observable<TimeRanges>& loadedTimeRanges() override { return inner_->loadedTimeRanges(); }
  Observable<TimeRanges>& seekableRanges() override { return inner_->seekableRanges(); }
  std::shared_ptr<PlayerItem> currentPlayerItem() const override {
    return inner_->currentPlayerItem();
  }
  bool audioOnly() const override { return inner_->audioOnly(); }
  void load() override { inner_->load(); }
  void begin() override { inner_->begin(); }
  void loadVideoURL(const URL& url) override { inner_->loadVideoURL(url); }
  void resumeVideoAtTime(const MediaTime& time, bool withAutoPlay) override {
    inner_->resumeVideoAtTime(time, withAutoPlay);
  }
  void avPlayerPlay() override { inner_->avPlayerPlay(); }
  void avPlayerPause() override { inner_->avPlayerPause(); }
  std::shared_ptr<Player> player() const override { return inner_->player(); }
  std::shared_ptr<SKYLVideo> video() const override { return inner_->video(); }
  std::shared_ptr<SKYLSource> source() const override { return inner_->source(); }
  std::shared_ptr<SKYLSessionCommonProperties> sessionCommonProperties() const override {
    return inner_->sessionCommonProperties();
  }
  void setSessionCommonProperties(
      const std::shared_ptr<SKYLSessionCommonProperties>& properties) override {
    inner_->setSessionCommonProperties(properties);
  }
  void checkIfSourceIsAudioOnly(const std::shared_ptr<SKYLSource>& source) override {
    inner_->checkIfSourceIsAudioOnly(source);
  }
  void checkForThumbnailSource(const std::optional<URL>& url) override {
    inner_->checkForThumbnailSource(url);
  }
  void startObservingRequiredValuesOnInnerPlaybackSession(SKYLPlaybackSession& inner) override {
    inner_->startObservingRequiredValuesOnInnerPlaybackSession(inner);
  }
  SKYLPlaybackSession* forwardingTarget() const override { return inner_.get(); }
  bool respondsToSelector(std::string_view selector) const override {
    return inner_->respondsToSelector(selector);
  }

 private:
  std::shared_ptr<SKYLPlaybackSession> inner_;
};

}  // namespace skylark
