#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "host/SKYLAd.h"
#include "host/SKYLAdSequence.h"
#include "live2/SKYLSSAILive2Coordinator.h"
#include "platform/DateParser.h"
#include "tracking/SKYLVelaProgressTracker.h"

namespace skylark {

// The ad state of a stream of the newer live service: where the playhead's
// program date falls among the live timeline's avails and ads, told as the
// same events the ad timeline's progress tracker publishes (a break
// entered, announced again as more of its ads become known, an ad
// entered, its progress, the ad and the break left), so the session turns
// both into lifecycle events, ledger reports and the ad timer alike. It
// also makes the host records of the ads it announces. Main queue.
class Live2AdState {
 public:
  using Emit = std::function<void(const SKYLVelaProgressTracker::Event&)>;

  Live2AdState(std::shared_ptr<SKYLSSAILive2Coordinator> coordinator, Emit emit);

  // The playhead is at this program date: the coordinator fires the
  // beacons due, then the events of what changed are emitted.
  void live2UpdateAdState(SystemTime playheadDate);

  const std::optional<std::string>& live2CurrentAdId() const { return live2CurrentAdId_; }
  bool inBreak() const { return live2CurrentAvailId_.has_value(); }

  // The host record of an ad or break this state announced; a new record
  // for one it did not.
  std::shared_ptr<SKYLAd> adRecordFor(const std::shared_ptr<const SKYLVelaAd>& ad) const;
  std::shared_ptr<SKYLAdSequence> sequenceRecordFor(
      const std::shared_ptr<SKYLVelaAdSequence>& sequence) const;

 private:
  using TrackerEvent = SKYLVelaProgressTrackerEvent;

  void live2ExitCurrentAd();
  void live2EmitAdProgressAt(SystemTime date);
  void emit(uint64_t type, TrackerEvent::Properties properties);
  // The timeline ad and the host record of one ad of the current avail.
  struct LiveAd {
    std::shared_ptr<const SKYLVelaAd> ad;
    std::shared_ptr<SKYLAd> record;
  };
  LiveAd live2AdForInfo(const SKYLSSAILive2AdInfo& info, int64_t adIndex) const;
  std::shared_ptr<const SKYLVelaAd> live2VelaAdForInfo(const SKYLSSAILive2AdInfo& info) const;

  const std::shared_ptr<SKYLSSAILive2Coordinator> coordinator_;
  const Emit emit_;

  std::optional<std::string> live2CurrentAdId_;
  std::optional<std::string> live2CurrentAvailId_;
  std::optional<SystemTime> live2CurrentAdStartDate_;
  int64_t live2SequenceAdCount_ = 0;
  std::shared_ptr<SKYLVelaAdSequence> live2CurrentAdSequence_;
  std::shared_ptr<SKYLAdSequence> live2CurrentSequenceRecord_;
  // The current avail's ads by id, as announced.
  std::map<std::string, LiveAd> ads_;
  LiveAd current_;
};

}  // namespace skylark
