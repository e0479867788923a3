#pragma once

// Small helpers shared by the session's source files (not installed API).

#include <string>
#include <string_view>

#include "platform/MediaTime.h"
#include "timeline/SKYLSSAIConstants.h"
#include "timeline/SKYLVelaAdSequence.h"

namespace skylark::session_detail {

// The seek offset as a position is added: 0.2 s at timescale 600.
inline MediaTime seekOffset() { return MediaTime::make(120, 600); }

// The seek offset made a whole number of 1/600 s: zero, on purpose (reverse
// playback stops, and fast playback lands, exactly on the ad's edge).
inline MediaTime truncatedSeekOffset() {
  return MediaTime::make(static_cast<int64_t>(kSKYLSSAISeekOffset), 600);
}

// A break that interrupts content: after the start, before the end.
inline bool isMidRoll(const SKYLVelaAdSequence& sequence) {
  const MediaTime begin = sequence.beginTime();
  return begin > MediaTime::zero() && !begin.isPositiveInfinity();
}

inline std::string key(std::string_view name) { return std::string(name); }

}  // namespace skylark::session_detail
