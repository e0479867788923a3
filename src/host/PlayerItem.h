#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/DateParser.h"
#include "platform/DispatchQueue.h"
#include "platform/MediaTime.h"
#include "platform/MediaTimeRange.h"
#include "platform/ThreadAnnotations.h"
#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// One timed-metadata item of a stream (an ID3 frame, say): where it sits
// and its bytes.
struct TimedMetadataItem {
  MediaTime time;
  std::string bytes;
  std::string keySpace = "org.id3";
  std::string key = "TXXX";  // an ID3 user-text frame
};

// Receives a stream's timed metadata as playback crosses it.
class TimedMetadataOutputDelegate {
 public:
  virtual ~TimedMetadataOutputDelegate() = default;
  virtual void outputDidOutputTimedMetadata(const std::vector<TimedMetadataItem>& items) = 0;
};

// Where an item delivers its timed metadata: the delegate (held weakly) is
// called on the given queue, which must outlive the output.
struct TimedMetadataOutput {
  std::weak_ptr<TimedMetadataOutputDelegate> delegate;
  DispatchQueue* queue = nullptr;
};

enum class PlayerItemType { content = 1, bumper = 2 };

// What a player plays: a stream address and what is known of it. Main queue
// only, except the outputs, which a player reads from its own thread.
class PlayerItem {
 public:
  enum class Status { unknown, readyToPlay, failed };

  explicit PlayerItem(URL url, PlayerItemType type = PlayerItemType::content)
      : url_(std::move(url)), type_(type) {}

  const URL& url() const { return url_; }
  PlayerItemType type() const { return type_; }
  Status status() const { return status_; }
  // Invalid until the item is ready.
  const MediaTime& duration() const { return duration_; }
  // Where reverse playback stops; invalid for the start of the item.
  const MediaTime& reversePlaybackEndTime() const { return reversePlaybackEndTime_; }
  void setReversePlaybackEndTime(MediaTime time) { reversePlaybackEndTime_ = time; }
  // The wall-clock date of the item's start, for streams that carry one.
  const std::optional<SystemTime>& startDate() const { return startDate_; }

  // Where the platform shows ads as interstitials (stream time).
  const std::vector<MediaTimeRange>& interstitialTimeRanges() const {
    return interstitialTimeRanges_;
  }
  void setInterstitialTimeRanges(std::vector<MediaTimeRange> ranges) {
    interstitialTimeRanges_ = std::move(ranges);
  }

  void addOutput(TimedMetadataOutput output) {
    MutexLock lock(outputsMutex_);
    outputs_.push_back(std::move(output));
  }
  std::vector<TimedMetadataOutput> outputs() const {
    MutexLock lock(outputsMutex_);
    return outputs_;
  }

  // For players: what loading found.
  void setReady(MediaTime duration, std::optional<SystemTime> startDate) {
    duration_ = duration;
    startDate_ = startDate;
    status_ = Status::readyToPlay;
  }
  void setFailed() { status_ = Status::failed; }

 private:
  // First, on one cache line: what a player reads on every tick.
  Status status_ = Status::unknown;
  MediaTime duration_ = MediaTime::invalid();
  URL url_;
  PlayerItemType type_;
  MediaTime reversePlaybackEndTime_ = MediaTime::invalid();
  std::optional<SystemTime> startDate_;
  std::vector<MediaTimeRange> interstitialTimeRanges_;
  mutable Mutex outputsMutex_;
  std::vector<TimedMetadataOutput> outputs_ SKYL_GUARDED_BY(outputsMutex_);
};

}  // namespace skylark
