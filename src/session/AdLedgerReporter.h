#pragma once

#include <cstdint>
#include <memory>

#include "environment/SessionEnvironment.h"
#include "host/SKYLAd.h"
#include "host/SKYLAdLedgerManager.h"
#include "host/SKYLPlaybackSession.h"
#include "host/SKYLSessionCommonProperties.h"
#include "timeline/SKYLVelaAdSequence.h"

namespace skylark {

// Reports a session's ads to the host's ad ledger: each break's start and
// end, each ad's start and end, a break that does not begin where the
// video says it ends, and, through a one-second timer while an ad plays,
// how long it was audible and when it became a viewable impression. The
// same for every kind of stream. Main queue.
class AdLedgerReporter {
 public:
  // Reads the player, its item and the video from `playback`, which must
  // outlive the reporter.
  AdLedgerReporter(std::shared_ptr<const SessionEnvironment> environment,
                   SKYLPlaybackSession& playback);
  AdLedgerReporter(const AdLedgerReporter&) = delete;
  AdLedgerReporter& operator=(const AdLedgerReporter&) = delete;

  void setCommonProperties(std::weak_ptr<SKYLSessionCommonProperties> properties) {
    commonProperties_ = std::move(properties);
  }
  // Live breaks report no pod index.
  void setLive(bool live) { live_ = live; }

  void breakStarted(const std::shared_ptr<SKYLVelaAdSequence>& sequence);
  void breakEnded(const std::shared_ptr<SKYLVelaAdSequence>& sequence);
  // A live break now known with more ads: reported with them when it ends.
  void breakGrew(std::shared_ptr<SKYLVelaAdSequence> sequence) {
    currentBreak_ = std::move(sequence);
  }
  // Starts the ad timer; `ad` is the host record the application sees.
  void adStarted(std::shared_ptr<SKYLAd> ad);
  // `playedSeconds`: how far the ad got; `skipped`: whether the viewer skipped it.
  void adEnded(double playedSeconds, bool skipped);
  // The viewer rewound out of the break: its ad and the break end unreported.
  void abandon() {
    adTimer_.reset();
    currentAd_.reset();
    currentBreak_.reset();
  }

  const std::shared_ptr<SKYLVelaAdSequence>& currentBreak() const { return currentBreak_; }
  double adAudibleDuration() const { return adAudibleDuration_; }
  double adViewableSeconds() const { return adViewableSeconds_; }

 private:
  // Ledger event codes.
  enum Code : int64_t {
    kPodStart = 0,
    kPodEnd = 1,
    kAdStart = 2,
    kAdEnd = 3,
    kPodOffsetMismatch = 5,
    kViewableImpression = 6
  };

  void report(Code code);
  SKYLAdLedgerManager::Parameters parametersFor(Code code) const;
  void adTimerTick();

  const std::shared_ptr<const SessionEnvironment> environment_;
  SKYLPlaybackSession& playback_;
  std::weak_ptr<SKYLSessionCommonProperties> commonProperties_;
  bool live_ = false;

  std::shared_ptr<SKYLVelaAdSequence> currentBreak_;
  std::shared_ptr<SKYLAd> currentAd_;
  int64_t podIndex_ = 0;
  int64_t adIndex_ = 0;
  double adAudibleDuration_ = 0;
  double adViewableSeconds_ = 0;
  bool viewableImpressionReported_ = false;
  double playedSeconds_ = 0;
  bool skipped_ = false;
  std::shared_ptr<void> adTimer_;
};

}  // namespace skylark
