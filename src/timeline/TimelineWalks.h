#pragma once

#include <memory>
#include <vector>

#include "platform/MediaTime.h"
#include "timeline/SKYLVelaAdSequence.h"
#include "timeline/SKYLVelaContentSegment.h"

namespace skylark::timeline_walks {

// The timeline's questions answered by walking its breaks in order. These
// are the definitions: they give the answer for any layout, overlapping or
// out-of-order breaks included. TimelineIndex answers the same questions in
// logarithmic time for well-ordered layouts and must agree with these.

using Sequences = std::vector<std::shared_ptr<SKYLVelaAdSequence>>;

struct Location {
  std::shared_ptr<SKYLVelaAdSequence> adSequence;
  std::shared_ptr<const SKYLVelaAd> ad;
};

// The content between breaks: before the first, between neighbours (kept
// even when empty or negative), and after the last up to payloadLength.
std::vector<SKYLVelaContentSegment> contentSegments(const Sequences& sequences,
                                                    const MediaTime& payloadLength);

// Absolute to content time: a time inside a break maps to the content time
// at which the break stands; past the end, to the whole content length.
MediaTime contentTimeAt(const std::vector<SKYLVelaContentSegment>& segments, const MediaTime& t);

// Content to absolute time: a content time on a break maps to the first
// frame after it; the content length maps to payloadLength.
MediaTime absoluteTimeAt(const std::vector<SKYLVelaContentSegment>& segments,
                         const MediaTime& payloadLength, const MediaTime& c);

// The first break with begin <= t < end, and in it the first such ad.
Location locate(const Sequences& sequences, const MediaTime& t);

// The summed durations of the ads that ended at or before t, in the breaks
// that began at or before t.
MediaTime adTimeEndedBy(const Sequences& sequences, const MediaTime& t);

}  // namespace skylark::timeline_walks
