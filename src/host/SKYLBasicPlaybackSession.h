#pragma once

#include <memory>

#include "host/SKYLKVOManager.h"
#include "host/SKYLPlaybackSession.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The host's own session: plays the chosen source's stream on a player and
// publishes its time, duration, ranges and lifecycle (ready, play, pause,
// end, resume-complete, failure). Main queue only.
class SKYLBasicPlaybackSession final
    : public SKYLPlaybackSession,
      public std::enable_shared_from_this<SKYLBasicPlaybackSession> {
 public:
  // source may be null: the common properties' policy (or the video's
  // first source) chooses at load.
  static std::shared_ptr<SKYLBasicPlaybackSession> create(std::shared_ptr<SKYLVideo> video,
                                                          std::shared_ptr<SKYLSource> source,
                                                          std::shared_ptr<Player> player);

  Observable<SKYLLifecycleEventPtr>& lifecycleState() override { return lifecycleState_; }
  SKYLBasicPlaybackProgress& progressSource() override { return progress_; }
  Observable<MediaTime>& duration() override { return duration_; }
  Observable<TimeRanges>& loadedTimeRanges() override { return loaded_; }
  Observable<TimeRanges>& seekableRanges() override { return seekable_; }
  std::shared_ptr<PlayerItem> currentPlayerItem() const override;
  bool audioOnly() const override { return audioOnly_; }

  void load() override;
  void begin() override {}
  void loadVideoURL(const URL& url) override;
  void resumeVideoAtTime(const MediaTime& time, bool withAutoPlay) override;
  void avPlayerPlay() override;
  void avPlayerPause() override;

  std::shared_ptr<Player> player() const override { return player_; }
  std::shared_ptr<SKYLVideo> video() const override { return video_; }
  std::shared_ptr<SKYLSource> source() const override;
  std::shared_ptr<SKYLSessionCommonProperties> sessionCommonProperties() const override {
    return commonProperties_.lock();
  }
  void setSessionCommonProperties(
      const std::shared_ptr<SKYLSessionCommonProperties>& properties) override {
    commonProperties_ = properties;
  }
  void checkIfSourceIsAudioOnly(const std::shared_ptr<SKYLSource>&) override {}
  void checkForThumbnailSource(const std::optional<URL>& url) override { thumbnailURL_ = url; }
  void startObservingRequiredValuesOnInnerPlaybackSession(SKYLPlaybackSession&) override {}
  bool respondsToSelector(std::string_view selector) const override;

  const std::optional<URL>& thumbnailURL() const { return thumbnailURL_; }

 private:
  SKYLBasicPlaybackSession(std::shared_ptr<SKYLVideo> video, std::shared_ptr<SKYLSource> source,
                           std::shared_ptr<Player> player);
  void observePlayer();
  void emit(std::string_view type, SKYLPlaybackSessionLifecycleEvent::Properties properties = {});

  std::shared_ptr<SKYLVideo> video_;
  mutable std::shared_ptr<SKYLSource> source_;
  std::shared_ptr<Player> player_;
  std::weak_ptr<SKYLSessionCommonProperties> commonProperties_;
  Observable<SKYLLifecycleEventPtr> lifecycleState_;
  SKYLBasicPlaybackProgress progress_;
  Observable<MediaTime> duration_{MediaTime::invalid()};
  Observable<TimeRanges> loaded_;
  Observable<TimeRanges> seekable_;
  std::optional<URL> thumbnailURL_;
  bool audioOnly_ = false;
  bool observing_ = false;
  SKYLKVOManager kvoManager_;
};

}  // namespace skylark
