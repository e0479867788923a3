#pragma once

#include <memory>

#include "host/SKYLKVOManager.h"
#include "platform/Visibility.h"
#include "tracking/SKYLVelaAdAnalyticsSession.h"
#include "tracking/SKYLVelaContentAnalyticsSession.h"
#include "tracking/SKYLVelaProgressTracker.h"

namespace SKYLARK_API skylark {

// Turns a tracker's events and content times into beacons: one ad session
// from "EnterAd" to "ExitAd", one content session throughout. Its owner
// passes each event and content time on (processEvent, processContentTime)
// in the order it chooses among its listeners; observeTracker() makes it
// listen to the tracker (which must outlive it) by itself instead.
class SKYLVelaAnalyticsSession {
 public:
  SKYLVelaAnalyticsSession(SKYLVelaProgressTracker& progessTracker,
                           std::shared_ptr<SKYLVelaAnalyticsDigester> analyticsDigester);
  SKYLVelaAnalyticsSession(const SKYLVelaAnalyticsSession&) = delete;
  SKYLVelaAnalyticsSession& operator=(const SKYLVelaAnalyticsSession&) = delete;

  void observeTracker();
  void processEvent(const SKYLVelaProgressTracker::Event& event);
  void processContentTime(const MediaTime& contentTime);

  // The ad now playing, between "EnterAd" and "ExitAd" (skips and clicks
  // are reported to it).
  const std::shared_ptr<SKYLVelaAdAnalyticsSession>& adAnalaytics() const { return adAnalaytics_; }
  SKYLVelaContentAnalyticsSession& contentAnalaytics() { return contentAnalaytics_; }

 private:
  // Where the entered ad plays in the break that holds it.
  SKYLVelaAdAnalyticsSession::Placement placementOf(const SKYLVelaAd& ad) const;

  SKYLVelaProgressTracker& tracker_;
  std::shared_ptr<SKYLVelaAnalyticsDigester> digester_;
  // Ads begun since the break began, and that break (none outside breaks).
  int adsBegunInBreak_ = 0;
  std::shared_ptr<SKYLVelaAdSequence> enteredBreak_;
  SKYLVelaContentAnalyticsSession contentAnalaytics_;
  std::shared_ptr<SKYLVelaAdAnalyticsSession> adAnalaytics_;
  SKYLKVOManager kvoManager_;  // last: its observations end first
};

}  // namespace skylark
