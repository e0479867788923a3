#pragma once

#include <memory>
#include <vector>

#include "platform/MediaTime.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaTimeline.h"
#include "tracking/SKYLVelaAnalyticsDigester.h"

namespace SKYLARK_API skylark {

// The content impressions of a timeline, fired as content time passes
// them. Sequence-bound to the tracker's thread.
class SKYLVelaContentAnalyticsSession {
 public:
  SKYLVelaContentAnalyticsSession(std::shared_ptr<SKYLVelaTimeline> timeline,
                                  std::shared_ptr<SKYLVelaAnalyticsDigester> digester);

  // A jump of more than 1.5 s is a seek and fires nothing. Otherwise each
  // impression whose position lies in (previous time, time] fires; the
  // position compared is the impression's absolute time, by design.
  void trackProgressToTime(const MediaTime& time);

 private:
  std::shared_ptr<SKYLVelaTimeline> timeline_;
  std::vector<SKYLVelaContentImpression> orderedContentImpressions_;
  std::vector<MediaTime> absolutePositions_;  // of each impression, computed once
  std::shared_ptr<SKYLVelaAnalyticsDigester> digester_;
  MediaTime prevTime_ = MediaTime::zero();
  // The first position after prevTime_ (+infinity when none): most updates
  // pass no impression and read nothing else.
  MediaTime nextPosition_ = MediaTime::positiveInfinity();
  const MediaTime seekThreshold_ = MediaTime::makeWithSeconds(1.5, 600);

  MediaTime firstPositionAfter(const MediaTime& time) const;
};

}  // namespace skylark
