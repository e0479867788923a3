#pragma once

#include <string>

#include "platform/MediaTime.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A stretch of content between ad breaks, on the stream's own clock.
class SKYLVelaContentSegment {
 public:
  SKYLVelaContentSegment(MediaTime beginTime, MediaTime duration)
      : beginTime_(beginTime), duration_(duration) {}

  const MediaTime& beginTime() const { return beginTime_; }
  const MediaTime& duration() const { return duration_; }

  bool operator==(const SKYLVelaContentSegment& other) const {
    return beginTime_ == other.beginTime_ && duration_ == other.duration_;
  }
  std::string description() const {
    return "<SKYLVelaContentSegment: beginTime = " + beginTime_.description() +
           "; duration = " + duration_.description() + ";>";
  }

 private:
  MediaTime beginTime_;
  MediaTime duration_;
};

}  // namespace skylark
