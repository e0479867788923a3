#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/ThreadAnnotations.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaAd.h"

namespace SKYLARK_API skylark {

// One ad break: its ads in play order. The times of the break are derived
// from its ads. The ads are guarded by the break's own lock, because a live
// break is rewritten (mergeAdSequence) while the player reads it; readers
// get a snapshot of the array, whose ads never change.
class SKYLVelaAdSequence {
 public:
  using Ads = std::vector<std::shared_ptr<const SKYLVelaAd>>;

  // What the live service says of one of its breaks: how the player should
  // show it, and which of its ads is playing.
  struct LiveOptions {
    bool showAdRemainingTime = true;
    bool showAdBreakRemainingTime = true;
    bool showNumberOfRemainingAds = true;
    int64_t timingDataAdIndex = 0;
  };

  explicit SKYLVelaAdSequence(Ads ads) : ads_(std::move(ads)) {}
  // A live break.
  SKYLVelaAdSequence(Ads ads, const LiveOptions& live);
  SKYLVelaAdSequence() = delete;
  // A copy with its own lock and the same ads and live options.
  SKYLVelaAdSequence(const SKYLVelaAdSequence& other);
  SKYLVelaAdSequence& operator=(const SKYLVelaAdSequence&) = delete;

  Ads ads() const;

  // First ad's begin, last ad's end, sum of the durations, first ad's
  // logical offset. With no ads: the all-zero (invalid) time, except the
  // duration, which is zero.
  MediaTime beginTime() const;
  MediaTime endTime() const;
  MediaTime duration() const;
  MediaTime logicalOffset() const;

  bool isLiveSsaiAdSequence() const { return liveSsaiAdSequence_; }
  bool liveSsaiClientOptionsShowAdRemainingTime() const { return live_.showAdRemainingTime; }
  bool liveSsaiClientOptionsShowAdBreakRemainingTime() const {
    return live_.showAdBreakRemainingTime;
  }
  bool liveSsaiClientOptionsShowNumberOfRemainingAds() const {
    return live_.showNumberOfRemainingAds;
  }
  int64_t liveSsaiTimingDataAdIndex() const { return liveSsaiTimingDataAdIndex_; }

  // Live refresh of this break from a newer picture of it: placeholders in
  // `other` take this break's durations, real ads replace this break's, the
  // ads are re-chained from the first begin time, and a trailing slate
  // absorbs whatever keeps the break at its previous length. The break
  // takes the newer picture's ad index. The only change a break ever sees.
  void mergeAdSequence(const SKYLVelaAdSequence& other);

  bool operator==(const SKYLVelaAdSequence& other) const;
  size_t hash() const;
  std::string description() const;

 private:
  mutable Mutex adsLock_;
  Ads ads_ SKYL_GUARDED_BY(adsLock_);
  const bool liveSsaiAdSequence_ = false;
  const LiveOptions live_;
  std::atomic<int64_t> liveSsaiTimingDataAdIndex_{0};
};

}  // namespace skylark
