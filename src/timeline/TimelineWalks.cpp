#include "timeline/TimelineWalks.h"

namespace skylark::timeline_walks {

std::vector<SKYLVelaContentSegment> contentSegments(const Sequences& sequences,
                                                    const MediaTime& payloadLength) {
  std::vector<SKYLVelaContentSegment> segments;
  if (sequences.empty()) {
    segments.emplace_back(MediaTime::zero(), payloadLength);
    return segments;
  }
  const MediaTime firstBegin = sequences.front()->beginTime();
  if (firstBegin > MediaTime::zero()) segments.emplace_back(MediaTime::zero(), firstBegin);
  for (size_t i = 1; i < sequences.size(); ++i) {
    const MediaTime previousEnd = sequences[i - 1]->endTime();
    segments.emplace_back(previousEnd, sequences[i]->beginTime() - previousEnd);
  }
  const MediaTime lastEnd = sequences.back()->endTime();
  if (lastEnd < payloadLength) segments.emplace_back(lastEnd, payloadLength - lastEnd);
  return segments;
}

MediaTime contentTimeAt(const std::vector<SKYLVelaContentSegment>& segments, const MediaTime& t) {
  MediaTime sum = MediaTime::zero();
  for (const auto& segment : segments) {
    const MediaTime end = segment.beginTime() + segment.duration();
    if (end >= t) {
      if (segment.beginTime() >= t) return sum;
      sum = sum + (t - segment.beginTime());
    } else {
      sum = sum + segment.duration();
    }
  }
  return sum != MediaTime::zero() ? sum : MediaTime::invalid();
}

MediaTime absoluteTimeAt(const std::vector<SKYLVelaContentSegment>& segments,
                         const MediaTime& payloadLength, const MediaTime& c) {
  MediaTime accumulated = MediaTime::zero();
  for (const auto& segment : segments) {
    const MediaTime next = accumulated + segment.duration();
    if (accumulated <= c && c < next) return segment.beginTime() + (c - accumulated);
    accumulated = next;
  }
  return c <= accumulated ? payloadLength : MediaTime::invalid();
}

Location locate(const Sequences& sequences, const MediaTime& t) {
  for (const auto& sequence : sequences) {
    if (sequence->beginTime() <= t && t < sequence->endTime()) {
      for (const auto& ad : sequence->ads()) {
        if (ad->beginTime() <= t && t < ad->endTime()) return {sequence, ad};
      }
      return {sequence, nullptr};
    }
  }
  return {};
}

MediaTime adTimeEndedBy(const Sequences& sequences, const MediaTime& t) {
  MediaTime sum = MediaTime::zero();
  for (const auto& sequence : sequences) {
    if (sequence->beginTime() > t) break;
    for (const auto& ad : sequence->ads()) {
      if (ad->endTime() <= t) sum = sum + ad->duration();
    }
  }
  return sum;
}

}  // namespace skylark::timeline_walks
