#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "host/SKYLPlaybackSession.h"
#include "host/SKYLSessionCommonProperties.h"
#include "platform/MediaTime.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaTimeline.h"
#include "tracking/SKYLVelaProgressTracker.h"

namespace SKYLARK_API skylark {

// Content-time seeks on an ad timeline, and whether the viewer may seek at
// all. A forward seek over unwatched breaks first plays the last of them
// from its start (the snapback), then goes on to the target: its
// completion is called twice, on reaching the break and at the target. A
// seek is refused (its completion called false at once, and kept nowhere)
// during a break, from a forced break's start until the seek after it has
// landed, and for an invalid or negative time. With the snapback off, a
// forward seek goes straight to its target; breaks the session says were
// played (and skips on sight) are never forced. A bookmark starts playback
// at a content time, the breaks before it played or not as asked. Main
// queue.
class SnapbackSeeker {
 public:
  using Completion = std::function<void(bool finished)>;
  using BreakPredicate = std::function<bool(const SKYLVelaAdSequence&)>;

  // Seeks `playback`'s player, which must outlive the seeker.
  explicit SnapbackSeeker(SKYLPlaybackSession& playback) : playback_(playback) {}

  void attach(std::shared_ptr<SKYLVelaTimeline> timeline, SKYLVelaProgressTracker* tracker,
              bool liveSSAI) {
    timeline_ = std::move(timeline);
    tracker_ = tracker;
    liveSSAI_ = liveSSAI;
  }
  void setCommonProperties(std::weak_ptr<SKYLSessionCommonProperties> properties) {
    commonProperties_ = std::move(properties);
  }

  // On by default.
  void setSnapbackEnabled(bool enabled) { snapbackEnabled_ = enabled; }
  // Breaks a seek never forces (none by default).
  void setNeverForced(BreakPredicate neverForced) { neverForced_ = std::move(neverForced); }

  bool canSeek() const { return canSeek_; }
  // `time` is content time.
  void seekToTime(const MediaTime& time, Completion completion);
  // Before playback begins: goes to content `time` as a forward seek from
  // the stream's start would, playing the last break before it first only
  // when `playLastEarlierBreak` says so. A break at the bookmark's own
  // content position (where a viewer who stopped during it was) is an
  // earlier one. Refused (completion false) as seekToTime refuses.
  void startAtContentTime(const MediaTime& time, bool playLastEarlierBreak, Completion completion);

  // What the ad events tell: a break began, a break ended (going on to the
  // target when it was the forced one), or the playhead left a break
  // backwards (the viewer is in content again).
  void breakEntered() { canSeek_ = false; }
  // Before the application hears that a break ended: seeking is allowed
  // again, unless it was the break a seek forced; then true, and once the
  // application has heard, forcedBreakEnded() goes on to the target.
  bool breakEnding(const std::shared_ptr<SKYLVelaAdSequence>& sequence);
  void forcedBreakEnded() { adSequenceDidComplete(); }
  // The viewer rewound out of the break: in content, free to seek, and a
  // forced break left this way no longer leads to its seek's target.
  void leftBreakBackwards() {
    adSequenceToProcess_ = nullptr;
    canSeek_ = true;
  }

  // Seeks the player without tolerance; false at once without one.
  void seekPlayer(const MediaTime& to, std::function<void(bool)> completion);

 private:
  using Weak = std::weak_ptr<bool>;
  // The target, clamped to the content, on the stream; nothing when the
  // seek is refused (then the completion has been called).
  std::optional<std::pair<MediaTime, MediaTime>> targetOf(const MediaTime& time,
                                                          Completion& completion);
  // From absoluteFromTime_ to absoluteToTime_ (content `target`), forcing
  // the last crossed break when `forceBreak`.
  void seekForward(const MediaTime& target, bool forceBreak);
  void adSequenceDidComplete();
  void finishForcedSeek(bool finished);
  // Runs `then` with the seeker if it still exists.
  template <typename Then>
  std::function<void(bool)> guarded(Then then) {
    return [alive = Weak(alive_), then](bool finished) {
      if (!alive.expired()) then(finished);
    };
  }

  SKYLPlaybackSession& playback_;
  std::shared_ptr<SKYLVelaTimeline> timeline_;
  SKYLVelaProgressTracker* tracker_ = nullptr;
  bool liveSSAI_ = false;
  bool snapbackEnabled_ = true;
  BreakPredicate neverForced_;
  std::weak_ptr<SKYLSessionCommonProperties> commonProperties_;

  bool canSeek_ = true;
  MediaTime absoluteFromTime_ = MediaTime::invalid();
  MediaTime absoluteToTime_ = MediaTime::invalid();
  std::shared_ptr<SKYLVelaAdSequence> adSequenceToProcess_;
  Completion seekToCompletionHandler_;
  const std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace skylark
