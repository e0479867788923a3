#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "platform/MediaTime.h"

namespace skylark {

class SKYLVelaAd;
class SKYLVelaAdSequence;
class SKYLVelaTimeline;

// A position on a timeline: the absolute time, and the break and ad that
// contain it (either may be absent; an ad always lies inside its break).
// Its logical time is computed once, on first use, and may be read from
// any thread.
class SKYLVelaPath {
 public:
  SKYLVelaPath(std::shared_ptr<const SKYLVelaTimeline> timeline, MediaTime absoluteTime,
               std::shared_ptr<SKYLVelaAdSequence> adSequence,
               std::shared_ptr<const SKYLVelaAd> ad);
  SKYLVelaPath(const SKYLVelaPath& other);
  SKYLVelaPath& operator=(const SKYLVelaPath&) = delete;

  const std::shared_ptr<const SKYLVelaTimeline>& timeline() const { return timeline_; }
  const MediaTime& absoluteTime() const { return absoluteTime_; }
  const std::shared_ptr<SKYLVelaAdSequence>& adSequence() const { return adSequence_; }
  const std::shared_ptr<const SKYLVelaAd>& ad() const { return ad_; }

  // Inside an ad: the time into the ad. Otherwise the content time: the
  // absolute time itself on a live timeline, else the absolute time less
  // the ads that ended at or before it.
  MediaTime logicalTime() const;

  bool operator==(const SKYLVelaPath& other) const;
  size_t hash() const;
  std::string description() const;

 private:
  std::shared_ptr<const SKYLVelaTimeline> timeline_;
  MediaTime absoluteTime_;
  std::shared_ptr<SKYLVelaAdSequence> adSequence_;
  std::shared_ptr<const SKYLVelaAd> ad_;
  mutable std::once_flag logicalTimeOnce_;
  mutable MediaTime computedLogicalTime_ = MediaTime::invalid();
};

}  // namespace skylark
