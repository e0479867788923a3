#pragma once

#include <map>
#include <memory>
#include <vector>

#include "platform/Visibility.h"
#include "timeline/SKYLVelaAdBuilder.h"
#include "timeline/SKYLVelaTimeline.h"

namespace SKYLARK_API skylark {

// Groups parsed ads into breaks: ads inserted at equal time offsets form one
// break, in insertion order (a VMAP pod is written as several breaks with
// one offset). Places post-rolls ("end") back to back so that the last one
// ends at the stream's end. Builds once. Not thread-safe.
class SKYLVelaAdSequencesBuilder {
 public:
  explicit SKYLVelaAdSequencesBuilder(MediaTime payloadLength) : payloadLength_(payloadLength) {}

  void insertAdBuilder(SKYLVelaAdBuilder adBuilder, const MediaTime& atTimeOffset);

  // The breaks in ascending offset order; null (and a log line) on a second
  // call, since building re-times the post-roll builders.
  std::optional<SKYLVelaTimeline::Sequences> buildAdSequences();

  // The times sorted ascending by media-time comparison.
  static std::vector<MediaTime> sortedArrayOfCMTimes(std::vector<MediaTime> times);

 private:
  struct ByTime {
    bool operator()(const MediaTime& a, const MediaTime& b) const { return compare(a, b) < 0; }
  };

  MediaTime payloadLength_;
  std::map<MediaTime, std::vector<SKYLVelaAdBuilder>, ByTime> structure_;
  bool spent_ = false;
};

}  // namespace skylark
