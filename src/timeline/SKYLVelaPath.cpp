#include "timeline/SKYLVelaPath.h"

#include "platform/Description.h"
#include "platform/Hashing.h"
#include "platform/PointeeEquality.h"
#include "timeline/SKYLVelaTimeline.h"

namespace skylark {

namespace {

MediaTime logicalTimeOf(const SKYLVelaTimeline* timeline, const MediaTime& absoluteTime,
                        const SKYLVelaAd* ad, const MediaTime* adTimeEnded) {
  if (ad) return absoluteTime - ad->beginTime();
  if (!timeline || timeline->isLiveSSAI()) return absoluteTime;
  if (adTimeEnded) return absoluteTime - *adTimeEnded;
  return timeline->absoluteTimeLessEndedAds(absoluteTime);
}

}  // namespace

SKYLVelaPath::SKYLVelaPath(std::shared_ptr<const SKYLVelaTimeline> timeline, MediaTime absoluteTime,
                           std::shared_ptr<SKYLVelaAdSequence> adSequence,
                           std::shared_ptr<const SKYLVelaAd> ad)
    : timeline_(std::move(timeline)),
      absoluteTime_(absoluteTime),
      adSequence_(std::move(adSequence)),
      ad_(std::move(ad)),
      logicalTime_(logicalTimeOf(timeline_.get(), absoluteTime_, ad_.get(), nullptr)) {}

SKYLVelaPath::SKYLVelaPath(std::shared_ptr<const SKYLVelaTimeline> timeline, MediaTime absoluteTime,
                           std::shared_ptr<SKYLVelaAdSequence> adSequence,
                           std::shared_ptr<const SKYLVelaAd> ad, const MediaTime& adTimeEnded)
    : timeline_(std::move(timeline)),
      absoluteTime_(absoluteTime),
      adSequence_(std::move(adSequence)),
      ad_(std::move(ad)),
      logicalTime_(logicalTimeOf(timeline_.get(), absoluteTime_, ad_.get(), &adTimeEnded)) {}

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
