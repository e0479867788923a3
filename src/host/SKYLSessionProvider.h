#pragma once

#include <memory>
#include <vector>

#include "host/SKYLPlaybackSession.h"
#include "host/SKYLVideo.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Receives the sessions a provider made, once they are ready to play.
class SKYLSessionListener {
 public:
  virtual ~SKYLSessionListener() = default;
  virtual void deliverSessions(
      const std::vector<std::shared_ptr<SKYLPlaybackSession>>& sessions) = 0;
};

// A link in the host's chain of session providers: makes the playback
// sessions for a list of videos. Main queue only.
class SKYLSessionProvider {
 public:
  virtual ~SKYLSessionProvider() = default;

  // Returns the sessions made now; the listener (held weakly) gets the
  // list to play through deliverSessions, possibly later.
  virtual std::vector<std::shared_ptr<SKYLPlaybackSession>> playbackSessionsForVideos(
      const std::vector<std::shared_ptr<SKYLVideo>>& videos,
      const std::shared_ptr<SKYLSessionListener>& withListener) = 0;
  virtual void setSessionCommonProperties(
      const std::shared_ptr<SKYLSessionCommonProperties>& properties) = 0;
  // Whether this provider loads each session's stream itself.
  virtual bool shouldLoadVideo() const = 0;
  virtual void setShouldLoadVideo(bool load) = 0;
};

}  // namespace skylark
