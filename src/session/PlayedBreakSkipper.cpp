#include "session/PlayedBreakSkipper.h"

#include <algorithm>

#include "session/SessionHelpers.h"
#include "session/SnapbackSeeker.h"

namespace skylark {

void PlayedBreakSkipper::breakWatched(const std::shared_ptr<SKYLVelaAdSequence>& sequence) {
  if (sequence && !watched(*sequence)) watched_.push_back(sequence);
}

bool PlayedBreakSkipper::watched(const SKYLVelaAdSequence& sequence) const {
  return std::any_of(watched_.begin(), watched_.end(),
                     [&](const auto& one) { return one.get() == &sequence; });
}

bool PlayedBreakSkipper::takesUpdate(const MediaTime& time, float rate) {
  if (policy_ != PlayedBreaksPolicy::skip || watched_.empty() || !tracker_) return false;
  if (jumping_) return true;
  if (rate <= 0) return false;  // rewinding crosses breaks without playing them
  for (const auto& sequence : watched_) {
    if (time < sequence->beginTime() || !(time < sequence->endTime())) continue;
    // Already inside it (a seek landed there): the viewer stays.
    const auto& previous = tracker_->previousPosition();
    if (previous && previous->adSequence == sequence) return false;
    jumpPast(sequence);
    return true;
  }
  return false;
}

void PlayedBreakSkipper::jumpPast(const std::shared_ptr<SKYLVelaAdSequence>& sequence) {
  jumping_ = true;
  tracker_->setSuspendProgress(true);
  std::weak_ptr<bool> alive = alive_;
  seeker_.seekPlayer(sequence->endTime() + session_detail::seekOffset(),
                     [this, alive, sequence](bool) {
                       if (alive.expired()) return;
                       jumping_ = false;
                       tracker_->setSuspendProgress(false);
                       if (const auto player = playback_.player()) {
                         tracker_->forceAbsoluteTime(player->currentTime());
                       }
                       if (jumped_) jumped_(sequence);
                     });
}

}  // namespace skylark
