#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/ThreadAnnotations.h"
#include "timeline/SKYLVelaAd.h"

namespace skylark {

// One ad break: its ads in play order. The times of the break are derived
// from its ads. The ads are guarded by the break's own lock, because a live
// break is rewritten (mergeAdSequence) while the player reads it; readers
// get a snapshot of the array, whose ads never change.
class SKYLVelaAdSequence {
 public:
  using Ads = std::vector<std::shared_ptr<const SKYLVelaAd>>;

  explicit SKYLVelaAdSequence(Ads ads) : ads_(std::move(ads)) {}
  SKYLVelaAdSequence() = delete;
  // A copy with its own lock and the same ads and live options.
  SKYLVelaAdSequence(const SKYLVelaAdSequence& other);
  SKYLVelaAdSequence& operator=(const SKYLVelaAdSequence&) = delete;

  Ads ads() const;
  void setAds(Ads ads);

  // First ad's begin, last ad's end, sum of the durations, first ad's
  // logical offset. With no ads: the all-zero (invalid) time, except the
  // duration, which is zero.
  MediaTime beginTime() const;
  MediaTime endTime() const;
  MediaTime duration() const;
  MediaTime logicalOffset() const;

  bool isLiveSsaiAdSequence() const { return liveSsaiAdSequence_; }
  void setLiveSsaiAdSequence(bool v) { liveSsaiAdSequence_ = v; }
  bool liveSsaiClientOptionsShowAdRemainingTime() const { return showAdRemainingTime_; }
  void setLiveSsaiClientOptionsShowAdRemainingTime(bool v) { showAdRemainingTime_ = v; }
  bool liveSsaiClientOptionsShowAdBreakRemainingTime() const { return showAdBreakRemainingTime_; }
  void setLiveSsaiClientOptionsShowAdBreakRemainingTime(bool v) { showAdBreakRemainingTime_ = v; }
  bool liveSsaiClientOptionsShowNumberOfRemainingAds() const { return showNumberOfRemainingAds_; }
  void setLiveSsaiClientOptionsShowNumberOfRemainingAds(bool v) { showNumberOfRemainingAds_ = v; }
  int64_t liveSsaiTimingDataAdIndex() const { return liveSsaiTimingDataAdIndex_; }
  void setLiveSsaiTimingDataAdIndex(int64_t v) { liveSsaiTimingDataAdIndex_ = v; }

  // Live refresh of this break from a newer picture of it: placeholders in
  // `other` take this break's durations, real ads replace this break's, the
  // ads are re-chained from the first begin time, and a trailing slate
  // absorbs whatever keeps the break at its previous length.
  void mergeAdSequence(const SKYLVelaAdSequence& other);

  bool operator==(const SKYLVelaAdSequence& other) const;
  size_t hash() const;
  std::string description() const;

 private:
  mutable Mutex adsLock_;
  Ads ads_ SKYL_GUARDED_BY(adsLock_);
  std::atomic<bool> liveSsaiAdSequence_{false};
  std::atomic<bool> showAdRemainingTime_{true};
  std::atomic<bool> showAdBreakRemainingTime_{true};
  std::atomic<bool> showNumberOfRemainingAds_{true};
  std::atomic<int64_t> liveSsaiTimingDataAdIndex_{0};
};

}  // namespace skylark
