#include "session/SnapbackSeeker.h"

#include "session/SessionHelpers.h"

namespace skylark {

using namespace session_detail;

std::optional<std::pair<MediaTime, MediaTime>> SnapbackSeeker::targetOf(const MediaTime& time,
                                                                        Completion& completion) {
  if (!canSeek_ || !time.isValid() || time < MediaTime::zero() || !timeline_ || !tracker_ ||
      !playback_.player()) {
    if (completion) completion(false);
    return std::nullopt;
  }
  const MediaTime contentLength = timeline_->contentLength();
  const MediaTime target = time > contentLength ? contentLength : time;
  const MediaTime to = timeline_->absoluteTimeAtContentTime(target);
  if (!to.isValid()) {
    if (completion) completion(false);
    return std::nullopt;
  }
  return std::make_pair(target, to);
}

void SnapbackSeeker::seekToTime(const MediaTime& time, Completion completion) {
  const auto target = targetOf(time, completion);
  if (!target) return;
  absoluteToTime_ = target->second;
  absoluteFromTime_ = playback_.player()->currentTime();
  seekToCompletionHandler_ = std::move(completion);

  if (absoluteFromTime_ > absoluteToTime_) {
    // Backward: no break is forced; a short jump back is the tracker's jitter.
    tracker_->setSuspendProgress(true);
    // This seek's own completion: another may be taken before it lands.
    seekPlayer(absoluteToTime_ + seekOffset(),
               guarded([this, handler = seekToCompletionHandler_](bool finished) {
                 tracker_->setSuspendProgress(false);
                 if (handler) handler(finished);
               }));
    return;
  }
  seekForward(target->first, snapbackEnabled_);
}

void SnapbackSeeker::startAtContentTime(const MediaTime& time, bool playLastEarlierBreak,
                                        Completion completion) {
  const auto target = targetOf(time, completion);
  if (!target) return;
  absoluteToTime_ = target->second;
  absoluteFromTime_ = MediaTime::zero();
  seekToCompletionHandler_ = std::move(completion);
  seekForward(target->first, playLastEarlierBreak);
}

void SnapbackSeeker::seekForward(const MediaTime& target, bool forceBreak) {
  // This seek's own completion for its first call: a seek that forces no
  // break leaves seeking open, and another may be taken before it lands.
  auto complete = [handler = seekToCompletionHandler_](bool finished) {
    if (handler) handler(finished);
  };
  // The breaks the seek would jump over; one at the target itself counts,
  // so a seek to a break's own content position plays it.
  std::vector<std::shared_ptr<SKYLVelaAdSequence>> crossed;
  const auto sequences = timeline_->adSequences();
  const MediaTime contentLength = timeline_->contentLength();
  if (!sequences->empty() && sequences->back()->logicalOffset().isPositiveInfinity() &&
      target == contentLength) {
    crossed.push_back(sequences->back());
    absoluteToTime_ = timeline_->absoluteTimeAtContentTime(contentLength);
  } else {
    for (const auto& sequence : *sequences) {
      if (sequence->beginTime() > absoluteToTime_) break;
      if (sequence->endTime() > absoluteFromTime_ && sequence->endTime() <= absoluteToTime_) {
        crossed.push_back(sequence);
      }
    }
  }
  if (neverForced_) {
    std::erase_if(crossed, [this](const auto& sequence) { return neverForced_(*sequence); });
  }

  const auto properties = commonProperties_.lock();
  const bool adsDisabled = properties && properties->adsDisabled;
  if (forceBreak && !liveSSAI_ && !crossed.empty() && !adsDisabled) {
    // Play the break nearest the target first; the target follows when it
    // ends. No other seek is taken until it has landed there.
    canSeek_ = false;
    adSequenceToProcess_ = crossed.back();
    tracker_->setSuspendProgress(true);
    seekPlayer(adSequenceToProcess_->beginTime() + seekOffset(),
               guarded([this, complete](bool finished) {
                 tracker_->setSuspendProgress(false);
                 complete(finished);
               }));
    return;
  }
  tracker_->setSuspendProgress(true);
  seekPlayer(absoluteToTime_, guarded([this, complete](bool finished) {
               tracker_->setSuspendProgress(false);
               if (const auto landed = playback_.player()) {
                 tracker_->forceAbsoluteTime(landed->currentTime());
               }
               complete(finished);
             }));
}

bool SnapbackSeeker::breakEnding(const std::shared_ptr<SKYLVelaAdSequence>& sequence) {
  if (adSequenceToProcess_ && sequence == adSequenceToProcess_) return true;
  if (!adSequenceToProcess_) canSeek_ = true;
  return false;
}

void SnapbackSeeker::seekPlayer(const MediaTime& to, std::function<void(bool)> completion) {
  const auto player = playback_.player();
  if (!player) {
    completion(false);
    return;
  }
  player->seek(to, MediaTime::zero(), MediaTime::zero(), std::move(completion));
}

void SnapbackSeeker::adSequenceDidComplete() {
  adSequenceToProcess_ = nullptr;
  const auto player = playback_.player();
  if (!player) {
    canSeek_ = true;
    return;
  }
  player->pause();
  if (absoluteToTime_ - player->currentTime() < MediaTime::make(1, 600)) {
    finishForcedSeek(true);
    return;
  }
  tracker_->setSuspendProgress(true);
  seekPlayer(absoluteToTime_, guarded([this](bool finished) { finishForcedSeek(finished); }));
}

void SnapbackSeeker::finishForcedSeek(bool finished) {
  tracker_->setSuspendProgress(false);
  if (const auto player = playback_.player()) player->play();
  canSeek_ = true;
  // The second call of the same completion: now at the target.
  if (seekToCompletionHandler_) seekToCompletionHandler_(finished);
}

}  // namespace skylark
