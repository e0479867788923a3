#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace skylark::tool {

// One segment of a media playlist.
struct PlaylistSegment {
  double duration = 0;
  std::string uri;
};

// The segments of an HLS media playlist, in order.
std::vector<PlaylistSegment> readPlaylistSegments(std::string_view playlist);

// A live stream made of a finished one played in a loop, as an origin
// serves it: the live edge at `livePosition` seconds of the looped stream,
// the last `windowSegments` segments whose end it has reached, each dated
// `positionZeroDate` plus its position (so the dates run with the clock that
// moves the edge), a discontinuity where the loop starts again, no end tag.
// Segment addresses are the source's with `uriPrefix` before them.
struct LiveWindow {
  std::vector<PlaylistSegment> segments;
  std::chrono::system_clock::time_point positionZeroDate;
  size_t windowSegments = 5;
  std::string uriPrefix;

  std::string playlistAt(double livePosition) const;
};

}  // namespace skylark::tool
