#pragma once

#include <memory>

#include "host/SKYLPlaybackSession.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A session that failed before it could play: it stands in the delivered
// list where the session would have, its lifecycle state is the error
// event, and it asks nothing of the player. The failed session is kept for
// inspection.
class SKYLErrorSession final : public SKYLPlaybackSession {
 public:
  static std::shared_ptr<SKYLErrorSession> initWithPlaybackSession(
      std::shared_ptr<SKYLPlaybackSession> session, SKYLLifecycleEventPtr errorEvent) {
    return std::shared_ptr<SKYLErrorSession>(
        new SKYLErrorSession(std::move(session), std::move(errorEvent)));
  }

  const std::shared_ptr<SKYLPlaybackSession>& failedSession() const { return session_; }
  const SKYLLifecycleEventPtr& errorEvent() const { return errorEvent_; }

  Observable<SKYLLifecycleEventPtr>& lifecycleState() override { return lifecycleState_; }
  SKYLBasicPlaybackProgress& progressSource() override { return progress_; }
  Observable<MediaTime>& duration() override { return duration_; }
  Observable<TimeRanges>& loadedTimeRanges() override { return ranges_; }
  Observable<TimeRanges>& seekableRanges() override { return ranges_; }
  std::shared_ptr<PlayerItem> currentPlayerItem() const override { return nullptr; }
  bool audioOnly() const override { return false; }
  void load() override {}
  void begin() override {}
  void loadVideoURL(const URL&) override {}
  void resumeVideoAtTime(const MediaTime&, bool) override {}
  void avPlayerPlay() override {}
  void avPlayerPause() override {}
  std::shared_ptr<Player> player() const override {
    return session_ ? session_->player() : nullptr;
  }
  std::shared_ptr<SKYLVideo> video() const override {
    return session_ ? session_->video() : nullptr;
  }
  std::shared_ptr<SKYLSource> source() const override {
    return session_ ? session_->source() : nullptr;
  }
  std::shared_ptr<SKYLSessionCommonProperties> sessionCommonProperties() const override {
    return session_ ? session_->sessionCommonProperties() : nullptr;
  }
  void setSessionCommonProperties(const std::shared_ptr<SKYLSessionCommonProperties>&) override {}
  void checkIfSourceIsAudioOnly(const std::shared_ptr<SKYLSource>&) override {}
  void checkForThumbnailSource(const std::optional<URL>&) override {}
  void startObservingRequiredValuesOnInnerPlaybackSession(SKYLPlaybackSession&) override {}
  bool respondsToSelector(std::string_view) const override { return false; }

 private:
  SKYLErrorSession(std::shared_ptr<SKYLPlaybackSession> session, SKYLLifecycleEventPtr errorEvent)
      : session_(std::move(session)), errorEvent_(errorEvent), lifecycleState_(errorEvent) {}

  std::shared_ptr<SKYLPlaybackSession> session_;
  SKYLLifecycleEventPtr errorEvent_;
  Observable<SKYLLifecycleEventPtr> lifecycleState_;
  SKYLBasicPlaybackProgress progress_;
  Observable<MediaTime> duration_{MediaTime::invalid()};
  Observable<TimeRanges> ranges_;
};

}  // namespace skylark
