#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "live2/SKYLSSAILive2TrackingResponse.h"
#include "platform/DateParser.h"

namespace skylark {

// One stretch of a live break: an ad, or a slate filling a gap.
struct SKYLSSAILive2TimelineEntry {
  std::string adId;
  std::string availId;
  double startTimeInSeconds = 0;
  double durationInSeconds = 0;
  bool isSlate = false;
  std::optional<SKYLSSAILive2Ad> ad;
  // The ad's program date-time, read once when the ad was merged.
  std::optional<SystemTime> programDate;

  bool operator==(const SKYLSSAILive2TimelineEntry& other) const {
    return adId == other.adId && availId == other.availId &&
           startTimeInSeconds == other.startTimeInSeconds &&
           durationInSeconds == other.durationInSeconds && isSlate == other.isSlate &&
           ad == other.ad;
  }
};

struct AvailSpan {
  std::string availId;
  double start = 0;
  double end = 0;
};

// The growing picture of a live stream's ad breaks, merged from each
// tracking answer and flattened into entries (ads, and slates for gaps of
// more than 0.5 s). Safe from any thread: one tracking completion merges
// while the player's thread looks entries up.
class SKYLSSAILive2Timeline {
 public:
  // True when anything changed: a new avail, other ads, another duration or
  // start. Avails are never removed here.
  bool merge(const SKYLSSAILive2TrackingResponse& response);
  // Drops the avails whose last dated ad ended before the playhead date.
  void prune(SystemTime at);
  // The ad entry playing at the date: date <= at < date + duration.
  std::optional<SKYLSSAILive2TimelineEntry> entry(SystemTime at) const;

  std::vector<SKYLSSAILive2TimelineEntry> entries() const;
  std::vector<std::string> availOrder() const;
  std::vector<SKYLSSAILive2Ad> ads(const std::string& availId) const;
  std::optional<AvailSpan> availSpan(const std::string& availId) const;

 private:
  struct DatedAd {
    SKYLSSAILive2Ad ad;
    std::optional<SystemTime> programDate;
  };
  // The dated ad entries sorted by date, for lookups in logarithmic time;
  // used only when their spans do not overlap (else the entries are scanned).
  struct DatedSpan {
    double beginMs;  // since the epoch
    double endMs;
    size_t entry;
  };

  void rebuild();  // requires mutex_

  mutable std::mutex mutex_;
  std::vector<std::string> availOrder_;
  std::map<std::string, std::vector<DatedAd>> adsByAvail_;
  std::map<std::string, double> availDurations_;
  std::map<std::string, double> availStarts_;
  std::vector<SKYLSSAILive2TimelineEntry> entries_;
  std::vector<DatedSpan> datedSpans_;
  bool spansOverlap_ = false;
};

}  // namespace skylark
