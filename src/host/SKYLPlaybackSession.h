#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "host/Player.h"
#include "host/SKYLBasicPlaybackProgress.h"
#include "host/SKYLPlaybackSessionLifecycleEvent.h"
#include "host/SKYLSessionCommonProperties.h"
#include "host/SKYLSource.h"
#include "host/SKYLVideo.h"
#include "platform/MediaTimeRange.h"
#include "platform/Observable.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// One video's playback: the player, the source chosen for it, and what the
// application observes (lifecycle, position, duration, ranges). Every
// operation is pure, so a decorating session that forgets one fails to
// compile. Main queue only.
class SKYLPlaybackSession {
 public:
  using TimeRanges = std::vector<MediaTimeRange>;

  virtual ~SKYLPlaybackSession() = default;

  virtual Observable<SKYLLifecycleEventPtr>& lifecycleState() = 0;
  virtual SKYLBasicPlaybackProgress& progressSource() = 0;
  virtual Observable<MediaTime>& duration() = 0;
  virtual Observable<TimeRanges>& loadedTimeRanges() = 0;
  virtual Observable<TimeRanges>& seekableRanges() = 0;
  virtual std::shared_ptr<PlayerItem> currentPlayerItem() const = 0;
  virtual bool audioOnly() const = 0;

  // Chooses the source and loads its stream into the player.
  virtual void load() = 0;
  // The session becomes the one playing.
  virtual void begin() = 0;
  virtual void loadVideoURL(const URL& url) = 0;
  virtual void resumeVideoAtTime(const MediaTime& time, bool withAutoPlay) = 0;
  virtual void avPlayerPlay() = 0;
  virtual void avPlayerPause() = 0;

  virtual std::shared_ptr<Player> player() const = 0;
  virtual std::shared_ptr<SKYLVideo> video() const = 0;
  virtual std::shared_ptr<SKYLSource> source() const = 0;
  virtual std::shared_ptr<SKYLSessionCommonProperties> sessionCommonProperties() const = 0;
  // Kept weakly: the playback controller owns them.
  virtual void setSessionCommonProperties(
      const std::shared_ptr<SKYLSessionCommonProperties>& properties) = 0;

  virtual void checkIfSourceIsAudioOnly(const std::shared_ptr<SKYLSource>& source) = 0;
  virtual void checkForThumbnailSource(const std::optional<URL>& thumbnailURL) = 0;
  // A decorating session starts relaying the values the host requires
  // (lifecycle, time, duration, ranges) from the session it wraps.
  virtual void startObservingRequiredValuesOnInnerPlaybackSession(SKYLPlaybackSession& inner) = 0;

  // Whether the session answers the named operation, itself or through the
  // session it wraps (the host's respondsToSelector). Operations every
  // session has answer true; optional ones (such as "seekToTime:completionHandler:")
  // only where implemented.
  virtual bool respondsToSelector(std::string_view selector) const = 0;
  // Where a decorator sends what it does not implement itself: the session
  // it wraps. None for a session that wraps nothing.
  virtual SKYLPlaybackSession* forwardingTarget() const { return nullptr; }
};

}  // namespace skylark
