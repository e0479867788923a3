#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "host/SKYLPlaybackSession.h"
#include "platform/MediaTime.h"
#include "platform/Visibility.h"
#include "session/SessionOptions.h"
#include "timeline/SKYLVelaAdSequence.h"
#include "tracking/SKYLVelaProgressTracker.h"

namespace SKYLARK_API skylark {

class SnapbackSeeker;

// Remembers the breaks the viewer has watched to their end and, under the
// skip policy, keeps the playhead out of them: a playhead update that
// enters one (playing forward, from outside it) does not reach the
// tracker; the player seeks past the break instead, and once it has landed
// the session is told (and tells the application of the seek). Under the
// replay policy it only remembers. Main queue.
class PlayedBreakSkipper {
 public:
  using Jumped = std::function<void(const std::shared_ptr<SKYLVelaAdSequence>& watched)>;

  // Seeks through `seeker`, which must outlive this.
  PlayedBreakSkipper(SKYLPlaybackSession& playback, SnapbackSeeker& seeker)
      : playback_(playback), seeker_(seeker) {}

  void attach(SKYLVelaProgressTracker* tracker) { tracker_ = tracker; }
  void setPolicy(PlayedBreaksPolicy policy) { policy_ = policy; }
  PlayedBreaksPolicy policy() const { return policy_; }
  void setJumped(Jumped jumped) { jumped_ = std::move(jumped); }

  void breakWatched(const std::shared_ptr<SKYLVelaAdSequence>& sequence);
  bool watched(const SKYLVelaAdSequence& sequence) const;
  // Under skip, a watched break is one to keep the playhead out of.
  bool skips(const SKYLVelaAdSequence& sequence) const {
    return policy_ == PlayedBreaksPolicy::skip && watched(sequence);
  }

  // True when the update at stream `time` is not the tracker's: it enters
  // a watched break (then the jump past it starts), or a jump is under way.
  bool takesUpdate(const MediaTime& time, float rate);

 private:
  void jumpPast(const std::shared_ptr<SKYLVelaAdSequence>& sequence);

  SKYLPlaybackSession& playback_;
  SnapbackSeeker& seeker_;
  SKYLVelaProgressTracker* tracker_ = nullptr;
  PlayedBreaksPolicy policy_ = PlayedBreaksPolicy::replay;
  Jumped jumped_;
  std::vector<std::shared_ptr<SKYLVelaAdSequence>> watched_;
  bool jumping_ = false;
  const std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace skylark
