#pragma once

#include <ostream>

#include "timeline/SKYLVelaTimeline.h"

namespace skylark::tool {

// The timeline as a table for people: stream and content length, each break
// with its absolute and content position and duration, its ads with their
// duration, skip offset and counts of beacons, companions and verifications,
// then the content segments.
void printTimelineTable(const SKYLVelaTimeline& timeline, std::ostream& out);

}  // namespace skylark::tool
