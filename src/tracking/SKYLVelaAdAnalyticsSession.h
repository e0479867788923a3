#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/MediaTime.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaAd.h"
#include "tracking/SKYLVelaAnalyticsDigester.h"

namespace SKYLARK_API skylark {

// The beacons of one ad while it plays: impression, verifications and
// creative view on the first progress, offset milestones as playback passes
// them, completion and break end on exit, skip and clicks on request.
// Sequence-bound to the tracker's thread.
class SKYLVelaAdAnalyticsSession {
 public:
  // Where the ad plays in its break, for the beacons' context.
  struct Placement {
    std::optional<int> breakPosition;  // 1 pre-roll, 2 mid-roll, 3 post-roll
    std::optional<int> podSequence;    // from 1
    std::optional<int> adCount;        // ads begun in the break, this one included
  };

  SKYLVelaAdAnalyticsSession(std::shared_ptr<const SKYLVelaAd> ad,
                             std::shared_ptr<SKYLVelaAnalyticsDigester> digester,
                             Placement placement = {});

  void trackImpression();
  void trackCreativeView();
  void trackAdVerifications();
  // T is the time into the ad.
  void trackProgressToTime(const MediaTime& time);
  void trackAdComplete(bool skipped);
  void trackAdSkip();
  void trackVideoClick();
  void trackCompanionCreativeView(std::string_view identifier);
  void trackCompanionClick(std::string_view identifier);

  const std::shared_ptr<const SKYLVelaAd>& ad() const { return ad_; }
  bool firstProgressEventHasOccured() const { return firstProgressEventHasOccured_; }

 private:
  void fire(const std::vector<URL>& urls, std::string_view type);
  // What a beacon of `type` fires for, now.
  BeaconContext context(std::string_view type) const;
  size_t firstMilestoneAtOrAfter(const MediaTime& time) const;
  void fireNamed(std::string_view name);

  std::shared_ptr<const SKYLVelaAd> ad_;
  std::shared_ptr<SKYLVelaAnalyticsDigester> digester_;
  Placement placement_;
  MediaTime prevTime_ = MediaTime::zero();
  const MediaTime seekThreshold_ = MediaTime::makeWithSeconds(1.5, 600);
  // Read on every tick: the ad's end, its offset milestones (held by ad_),
  // and the first milestone at or after prevTime_, so that a tick reads the
  // milestones it passes and not every one before them.
  const MediaTime end_;
  const std::span<const SKYLVelaTrackingEvent> milestones_;
  size_t nextMilestone_;
  bool firstProgressEventHasOccured_ = false;
};

}  // namespace skylark
