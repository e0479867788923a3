#pragma once

#include <string>
#include <vector>

#include "timeline/SKYLVelaTimeline.h"

namespace skylark::tool {

// What a playback did, for the picture: the playhead at each step of the
// viewing, the beacons with the step that fired them, and the moments the
// viewer seeked or skipped.
struct PlayTrace {
  struct Sample {
    int step;
    double streamTime;
  };
  struct Beacon {
    int step;
    double streamTime;
    std::string type;  // "impression", "start", "firstQuartile", ... or "other"
  };
  struct Mark {
    int step;
    double streamTime;
    std::string label;  // "seek", "skip", "pause"
  };
  std::vector<Sample> samples;
  std::vector<Beacon> beacons;
  std::vector<Mark> marks;
};

// An SVG picture of a stream: content segments and ad breaks on one axis of
// stream time (each ad labelled where there is room), content time beneath,
// and, with a trace, the playhead's path down the page (seeks as jumps,
// skips marked) with each beacon as a tick coloured by its type.
std::string timelineSVG(const SKYLVelaTimeline& timeline, const PlayTrace* trace = nullptr);

// The type of a beacon URL as the picture colours it.
std::string beaconType(const std::string& url);

}  // namespace skylark::tool
