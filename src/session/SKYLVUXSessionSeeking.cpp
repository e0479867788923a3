// SKYLVUXSession: content-time seeks that play the last skipped-over ad
// break first, ad skipping, pausing and resuming ads, and the rate.
#include "host/SKYLHostConstants.h"
#include "session/SKYLVUXSession.h"
#include "session/SessionHelpers.h"

namespace skylark {

using namespace session_detail;

void SKYLVUXSession::seekToTime(const MediaTime& time,
                                std::function<void(bool finished)> completionHandler) {
  seekToCompletionHandler_ = std::move(completionHandler);
  const auto refuse = [this] {
    if (seekToCompletionHandler_) seekToCompletionHandler_(false);
  };
  if (!canSeek_ || !time.isValid() || time < MediaTime::zero() ||
      (!timeline_ && !live2Coordinator_ && !live2ContentOnly_)) {
    refuse();
    return;
  }
  if (live2Coordinator_ || live2ContentOnly_) {
    live2SeekToTime(time, seekToCompletionHandler_);
    return;
  }
  const auto player = innerPlaybackSession()->player();
  if (!player) {
    refuse();
    return;
  }
  canSeek_ = false;
  const MediaTime contentLength = timeline_->contentLength();
  const MediaTime target = time > contentLength ? contentLength : time;
  absoluteToTime_ = timeline_->absoluteTimeAtContentTime(target);
  absoluteFromTime_ = player->currentTime();
  if (!absoluteToTime_.isValid()) {
    canSeek_ = true;
    refuse();
    return;
  }

  std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
  if (absoluteFromTime_ > absoluteToTime_) {
    // Backward: no break is forced; a short jump back is the tracker's jitter.
    tracker_->setSuspendProgress(true);
    canSeek_ = true;
    seekPlayer(absoluteToTime_ + seekOffset(), [weak](bool finished) {
      const auto self = weak.lock();
      if (!self) return;
      self->tracker_->setSuspendProgress(false);
      if (self->seekToCompletionHandler_) self->seekToCompletionHandler_(finished);
    });
    return;
  }

  // The breaks the seek would jump over.
  std::vector<std::shared_ptr<SKYLVelaAdSequence>> crossed;
  const auto sequences = timeline_->adSequences();
  if (!sequences->empty() && sequences->back()->logicalOffset().isPositiveInfinity() &&
      target == contentLength) {
    crossed.push_back(sequences->back());
    absoluteToTime_ = timeline_->absoluteTimeAtContentTime(contentLength);
  } else {
    for (const auto& sequence : *sequences) {
      if (sequence->beginTime() > absoluteToTime_) break;
      if (sequence->endTime() > absoluteFromTime_ && sequence->endTime() < absoluteToTime_) {
        crossed.push_back(sequence);
      }
    }
  }

  const auto properties = sessionCommonProperties_.lock();
  const bool adsDisabled = properties && properties->adsDisabled;
  if (!liveSSAI_ && !crossed.empty() && !adsDisabled) {
    // Play the break nearest the target first; the target follows when it ends.
    adSequenceToProcess_ = crossed.back();
    tracker_->setSuspendProgress(true);
    seekPlayer(adSequenceToProcess_->beginTime() + seekOffset(), [weak](bool finished) {
      const auto self = weak.lock();
      if (!self) return;
      self->tracker_->setSuspendProgress(false);
      if (self->seekToCompletionHandler_) self->seekToCompletionHandler_(finished);
    });
    return;
  }
  canSeek_ = true;
  tracker_->setSuspendProgress(true);
  seekPlayer(absoluteToTime_, [weak](bool finished) {
    const auto self = weak.lock();
    if (!self) return;
    self->tracker_->setSuspendProgress(false);
    if (const auto landed = self->innerPlaybackSession()->player()) {
      self->tracker_->forceAbsoluteTime(landed->currentTime());
    }
    if (self->seekToCompletionHandler_) self->seekToCompletionHandler_(finished);
  });
}

void SKYLVUXSession::seekPlayer(const MediaTime& to, std::function<void(bool)> completion) {
  const auto player = innerPlaybackSession()->player();
  if (!player) {
    completion(false);
    return;
  }
  player->seek(to, MediaTime::zero(), MediaTime::zero(), std::move(completion));
}

void SKYLVUXSession::adSequenceDidComplete() {
  adSequenceToProcess_ = nullptr;
  const auto player = innerPlaybackSession()->player();
  if (!player) return;
  player->pause();
  if (absoluteToTime_ - player->currentTime() < MediaTime::make(1, 600)) {
    finishForcedSeek(true);
    return;
  }
  tracker_->setSuspendProgress(true);
  std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
  seekPlayer(absoluteToTime_, [weak](bool finished) {
    if (const auto self = weak.lock()) self->finishForcedSeek(finished);
  });
}

void SKYLVUXSession::finishForcedSeek(bool finished) {
  tracker_->setSuspendProgress(false);
  if (const auto player = innerPlaybackSession()->player()) player->play();
  canSeek_ = true;
  // The second call of the same completion: now at the target.
  if (seekToCompletionHandler_) seekToCompletionHandler_(finished);
}

void SKYLVUXSession::resumeVideoAtTime(const MediaTime& time, bool withAutoPlay) {
  const MediaTime absolute = timeline_ ? timeline_->absoluteTimeAtContentTime(time) : MediaTime();
  innerPlaybackSession()->resumeVideoAtTime(absolute, withAutoPlay);
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
    seekPlayer(target, landed);
    return;
  }
  // An ad that ends with the stream (a post-roll): go to the end, unseen.
  player->setLayerHidden(true);
  seekPlayer(end, landed);
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
