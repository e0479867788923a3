#pragma once

#include <memory>
#include <string>

#include "platform/MediaTime.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

class SKYLVelaAd;
class SKYLVelaAdSequence;
class SKYLVelaTimeline;

// A position on a timeline: the absolute time, and the break and ad that
// contain it (either may be absent; an ad always lies inside its break).
// Immutable: its logical time is computed when it is made.
class SKYLVelaPath {
 public:
  SKYLVelaPath(std::shared_ptr<const SKYLVelaTimeline> timeline, MediaTime absoluteTime,
               std::shared_ptr<SKYLVelaAdSequence> adSequence,
               std::shared_ptr<const SKYLVelaAd> ad);
  // With the ad time ended by absoluteTime already known (the timeline
  // making the path has it at hand).
  SKYLVelaPath(std::shared_ptr<const SKYLVelaTimeline> timeline, MediaTime absoluteTime,
               std::shared_ptr<SKYLVelaAdSequence> adSequence, std::shared_ptr<const SKYLVelaAd> ad,
               const MediaTime& adTimeEnded);
  SKYLVelaPath(const SKYLVelaPath& other) = default;
  SKYLVelaPath& operator=(const SKYLVelaPath&) = delete;

  const std::shared_ptr<const SKYLVelaTimeline>& timeline() const { return timeline_; }
  const MediaTime& absoluteTime() const { return absoluteTime_; }
  const std::shared_ptr<SKYLVelaAdSequence>& adSequence() const { return adSequence_; }
  const std::shared_ptr<const SKYLVelaAd>& ad() const { return ad_; }

  // Inside an ad: the time into the ad. Otherwise the content time: the
  // absolute time itself on a live timeline, else the absolute time less
  // the ads that ended at or before it.
  const MediaTime& logicalTime() const { return logicalTime_; }

  bool operator==(const SKYLVelaPath& other) const;
  size_t hash() const;
  std::string description() const;

 private:
  std::shared_ptr<const SKYLVelaTimeline> timeline_;
  MediaTime absoluteTime_;
  std::shared_ptr<SKYLVelaAdSequence> adSequence_;
  std::shared_ptr<const SKYLVelaAd> ad_;
  MediaTime logicalTime_;
};

}  // namespace skylark
