#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "live2/SKYLSSAILive2TrackingResponse.h"
#include "platform/DateParser.h"
#include "platform/ThreadAnnotations.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// One stretch of a live break: an ad, or a slate filling a gap.
struct SKYLSSAILive2TimelineEntry {
  std::string adId;
  std::string availId;
  double startTimeInSeconds = 0;
  double durationInSeconds = 0;
  bool isSlate = false;
  std::shared_ptr<const SKYLSSAILive2Ad> ad;  // none for a slate
  // The ad's program date-time, read once when the ad was merged.
  std::optional<SystemTime> programDate;

  bool operator==(const SKYLSSAILive2TimelineEntry& other) const {
    return adId == other.adId && availId == other.availId &&
           startTimeInSeconds == other.startTimeInSeconds &&
           durationInSeconds == other.durationInSeconds && isSlate == other.isSlate &&
           (ad == other.ad || (ad && other.ad && *ad == *other.ad));
  }
};

struct AvailSpan {
  std::string availId;
  double start = 0;
  double end = 0;
};

// The growing picture of a live stream's ad breaks, merged from each
// tracking answer and flattened into entries (ads, and slates for gaps of
// more than 0.5 s).
//
// Each merge or prune publishes a new immutable Snapshot; readers take the
// current one (one pointer copy under the lock) and query it without
// copying entries. Safe from any thread: a tracking completion merges while
// the player's thread looks entries up.
class SKYLSSAILive2Timeline {
 public:
  // The most avails kept: past ones are pruned as the playhead leaves
  // them, and beyond this many the oldest go first, so a service that keeps
  // announcing avails cannot grow the process without bound.
  static constexpr size_t kMaxAvails = 512;

  struct DatedAd {
    std::shared_ptr<const SKYLSSAILive2Ad> ad;
    std::optional<SystemTime> programDate;
  };
  struct Avail {
    std::string id;
    double start = 0;
    double duration = 0;
    std::vector<DatedAd> ads;
  };
  struct Snapshot {
    std::vector<std::shared_ptr<const Avail>> avails;  // in order of first appearance
    std::vector<SKYLSSAILive2TimelineEntry> entries;

    // The ad entry playing at the date: date <= at < date + duration.
    std::optional<SKYLSSAILive2TimelineEntry> entry(SystemTime at) const;
    const Avail* avail(const std::string& id) const;

    // The dated ad entries sorted by date, for lookups in logarithmic time;
    // used only when their spans do not overlap (else they are scanned).
    struct DatedSpan {
      double beginMs;  // since the epoch
      double endMs;
      size_t entry;
    };
    std::vector<DatedSpan> datedSpans;
    bool spansOverlap = false;
  };

  // True when anything changed: a new avail, other ads, another duration or
  // start. Linear in the answer and the avails kept.
  bool merge(const SKYLSSAILive2TrackingResponse& response);
  // Drops the avails whose last dated ad ended before the playhead date.
  void prune(SystemTime at);

  std::shared_ptr<const Snapshot> snapshot() const;

  std::optional<SKYLSSAILive2TimelineEntry> entry(SystemTime at) const;
  std::vector<SKYLSSAILive2TimelineEntry> entries() const;
  std::vector<std::string> availOrder() const;
  std::vector<SKYLSSAILive2Ad> ads(const std::string& availId) const;
  std::optional<AvailSpan> availSpan(const std::string& availId) const;

 private:
  void publish(std::vector<std::shared_ptr<const Avail>> avails);

  Mutex writeMutex_;  // one merge or prune at a time, start to publish
  mutable Mutex mutex_;
  std::shared_ptr<const Snapshot> snapshot_ SKYL_GUARDED_BY(mutex_) = std::make_shared<Snapshot>();
};

}  // namespace skylark
