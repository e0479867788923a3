#include "tracking/SKYLVelaContentAnalyticsSession.h"

#include <algorithm>

namespace skylark {
namespace {

BeaconContext contentImpression() {
  BeaconContext context;
  context.type = "contentImpression";
  return context;
}

}  // namespace

SKYLVelaContentAnalyticsSession::SKYLVelaContentAnalyticsSession(
    std::shared_ptr<SKYLVelaTimeline> timeline, std::shared_ptr<SKYLVelaAnalyticsDigester> digester)
    : timeline_(std::move(timeline)), digester_(std::move(digester)) {
  if (timeline_) orderedContentImpressions_ = timeline_->contentImpressions();
  std::stable_sort(orderedContentImpressions_.begin(), orderedContentImpressions_.end(),
                   [](const auto& a, const auto& b) { return a.logicalTime() < b.logicalTime(); });
  // A VOD timeline never changes, so each position is computed once rather
  // than on every update.
  for (const auto& impression : orderedContentImpressions_) {
    absolutePositions_.push_back(
        timeline_ ? timeline_->absoluteTimeAtContentTime(impression.logicalTime())
                  : MediaTime::zero());
  }
  nextPosition_ = firstPositionAfter(prevTime_);
}

MediaTime SKYLVelaContentAnalyticsSession::firstPositionAfter(const MediaTime& time) const {
  for (const MediaTime& position : absolutePositions_) {
    if (position > time) return position;
  }
  return MediaTime::positiveInfinity();
}

void SKYLVelaContentAnalyticsSession::trackProgressToTime(const MediaTime& time) {
  if (nextPosition_ <= time && !(time - prevTime_ > seekThreshold_)) {
    for (size_t i = 0; i < orderedContentImpressions_.size(); ++i) {
      const MediaTime& position = absolutePositions_[i];
      if (position > time) break;
      if (prevTime_ < position)
        digester_->digestEvent(orderedContentImpressions_[i].url(), contentImpression());
    }
  }
  const bool movedBack = time < prevTime_;
  prevTime_ = time;
  if (movedBack || nextPosition_ <= time) nextPosition_ = firstPositionAfter(time);
}

}  // namespace skylark
