#pragma once

#include <string>

#include "platform/MediaTime.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A stretch of media time: a start and a duration.
struct MediaTimeRange {
  MediaTime start;
  MediaTime duration;

  static MediaTimeRange make(MediaTime start, MediaTime duration) { return {start, duration}; }
  static MediaTimeRange fromTimeToTime(MediaTime start, MediaTime end) {
    return {start, end - start};
  }

  MediaTime end() const { return start + duration; }
  // Both times valid and the duration numeric and not negative, or +infinity.
  bool isValid() const;
  bool isEmpty() const { return isValid() && duration == MediaTime::zero(); }
  // start <= t < end.
  bool containsTime(const MediaTime& t) const;

  // "{{start}, {duration}}" with the times' descriptions.
  std::string description() const;
};

inline bool operator==(const MediaTimeRange& a, const MediaTimeRange& b) {
  return a.start == b.start && a.duration == b.duration;
}

}  // namespace skylark
