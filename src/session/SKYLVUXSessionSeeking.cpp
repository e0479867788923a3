// SKYLVUXSession: seeks (the snapback is SnapbackSeeker's), ad skipping,
// pausing and resuming ads, and the rate.
#include "host/SKYLHostConstants.h"
#include "session/SKYLVUXSession.h"
#include "session/SessionHelpers.h"
#include "timeline/SKYLSSAIConstants.h"

namespace skylark {

using namespace session_detail;

void SKYLVUXSession::seekToTime(const MediaTime& time,
                                std::function<void(bool finished)> completionHandler) {
  if (!live2Coordinator_ && !live2ContentOnly_) {
    seeker_.seekToTime(time, std::move(completionHandler));
    return;
  }
  // A live stream without a timeline: stream time, redirected by the service.
  if (!seeker_.canSeek() || !time.isValid() || time < MediaTime::zero()) {
    if (completionHandler) completionHandler(false);
    return;
  }
  live2SeekToTime(time, std::move(completionHandler));
}

void SKYLVUXSession::resumeVideoAtTime(const MediaTime& time, bool withAutoPlay) {
  const MediaTime absolute = timeline_ ? timeline_->absoluteTimeAtContentTime(time) : MediaTime();
  innerPlaybackSession()->resumeVideoAtTime(absolute, withAutoPlay);
}

bool SKYLVUXSession::startAtContentTime(const MediaTime& time) {
  if (!tracker_ || liveSSAI_ || live2Coordinator_ || live2ContentOnly_ ||
      tracker_->previousPosition() || startingAtBookmark_) {
    return false;
  }
  const auto refused = std::make_shared<bool>(false);
  startingAtBookmark_ = true;
  std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
  // Called once the player is at the bookmark, or at the break that plays
  // first (and again, for that break, at the bookmark).
  seeker_.startAtContentTime(time, !options_.bookmarkSkipsEarlierBreaks,
                             [weak, refused, called = false](bool finished) mutable {
                               if (called) return;
                               called = true;
                               if (!finished) *refused = true;
                               if (const auto self = weak.lock()) self->startingAtBookmark_ = false;
                             });
  return !*refused;
}

void SKYLVUXSession::didSeekPastPlayedBreak(const std::shared_ptr<SKYLVelaAdSequence>& sequence) {
  emit(kSKYLSSAILifecycleEventSeekPastPlayedBreak,
       {{key(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdSequence),
         adSequenceForVelaAdSequence(sequence)}});
}

void SKYLVUXSession::pauseAd() {
  if (adPlaying_) innerPlaybackSession()->avPlayerPause();
}

void SKYLVUXSession::resumeAd() {
  if (adPlaying_) innerPlaybackSession()->avPlayerPlay();
}

void SKYLVUXSession::didChangeRate(const Player& player) {
  if (tracker_ && player.rate() != tracker_->playbackRate()) {
    tracker_->setPlaybackRate(player.rate());
  }
}

void SKYLVUXSession::skipAd(const std::weak_ptr<SKYLAd>& record) {
  const auto ad = record.lock();
  const auto player = innerPlaybackSession()->player();
  if (!ad || !player || !tracker_) return;
  if (analyticsSession_ && analyticsSession_->adAnalaytics()) {
    analyticsSession_->adAnalaytics()->trackAdSkip();
  }
  player->pause();
  const auto* velaAd =
      ad->property<std::shared_ptr<const SKYLVelaAd>>(kSKYLSSAIAdPropertiesKeyVelaAd);
  const MediaTime target = (velaAd && *velaAd ? (*velaAd)->endTime() : MediaTime()) + seekOffset();
  tracker_->setSuspendProgress(true);
  // Either way the tracker hears of the skip, so the analytics report
  // "skip" and never "complete" for it, a post-roll included.
  tracker_->setDidSkipAd(true);
  const auto item = player->currentItem();
  const MediaTime end = item ? item->duration() : MediaTime();
  std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
  auto landed = [weak, record](bool) {
    if (const auto self = weak.lock()) self->didSkipAd(record);
  };
  if (target < end) {
    seeker_.seekPlayer(target, landed);
    return;
  }
  // An ad that ends with the stream (a post-roll): go to the end, unseen.
  player->setLayerHidden(true);
  seeker_.seekPlayer(end, landed);
}

void SKYLVUXSession::didSkipAd(const std::weak_ptr<SKYLAd>& record) {
  const auto ad = record.lock();
  if (!ad) return;
  emit(kSKYLPlaybackSessionLifecycleEventAdSkipped,
       {{key(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd), ad}});
  tracker_->setSuspendProgress(false);
  if (const auto player = innerPlaybackSession()->player()) player->play();
}

}  // namespace skylark
