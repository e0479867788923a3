#include "timeline/SKYLVelaPath.h"

#include "platform/Description.h"
#include "platform/Hashing.h"
#include "platform/PointeeEquality.h"
#include "timeline/SKYLVelaTimeline.h"

namespace skylark {

SKYLVelaPath::SKYLVelaPath(std::shared_ptr<const SKYLVelaTimeline> timeline, MediaTime absoluteTime,
                           std::shared_ptr<SKYLVelaAdSequence> adSequence,
                           std::shared_ptr<const SKYLVelaAd> ad)
    : timeline_(std::move(timeline)),
      absoluteTime_(absoluteTime),
      adSequence_(std::move(adSequence)),
      ad_(std::move(ad)) {}

SKYLVelaPath::SKYLVelaPath(const SKYLVelaPath& other)
    : SKYLVelaPath(other.timeline_, other.absoluteTime_, other.adSequence_, other.ad_) {}

MediaTime SKYLVelaPath::logicalTime() const {
  std::call_once(logicalTimeOnce_, [this] {
    if (ad_) {
      computedLogicalTime_ = absoluteTime_ - ad_->beginTime();
    } else if (!timeline_ || timeline_->isLiveSSAI()) {
      computedLogicalTime_ = absoluteTime_;
    } else {
      computedLogicalTime_ = timeline_->absoluteTimeLessEndedAds(absoluteTime_);
    }
  });
  return computedLogicalTime_;
}

bool SKYLVelaPath::operator==(const SKYLVelaPath& other) const {
  if (this == &other) return true;
  return absoluteTime_ == other.absoluteTime_ && pointeesEqual(ad_, other.ad_) &&
         pointeesEqual(adSequence_, other.adSequence_) && pointeesEqual(timeline_, other.timeline_);
}

size_t SKYLVelaPath::hash() const {
  size_t h = hashFromDouble(absoluteTime_.seconds() + 31);
  h = hashStep(h, ad_ ? ad_->hash() : 0);
  h = hashStep(h, adSequence_ ? adSequence_->hash() : 0);
  return hashStep(h, timeline_ ? timeline_->hash() : 0);
}

std::string SKYLVelaPath::description() const {
  return descriptionHeader("SKYLVelaPath", this) +
         " absoluteTime = " + absoluteTime_.description() + ";" +
         " logicalTime = " + logicalTime().description() + ";" + " ad = " + describe(ad_) + ";" +
         " adSequence = " + describe(adSequence_) + ";" + " timeline = " + describe(timeline_) +
         ";>";
}

}  // namespace skylark
