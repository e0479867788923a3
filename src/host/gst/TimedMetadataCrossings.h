#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/PlayerItem.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The timed metadata an item's stream has shown so far, and which of it the
// playhead has crossed. A frame is handed out once, the first time playback
// going forward crosses it; one that a seek jumped over waits, and one seen
// twice (the demuxer reads a stretch again after a seek back) counts once.
// Main queue only.
class TimedMetadataCrossings {
 public:
  void add(std::vector<TimedMetadataItem> items);
  // The frames at or after `from` and before `to` (at `to` too when
  // includeTo) not handed out before, in stream order; they are handed out
  // now.
  std::vector<TimedMetadataItem> crossed(const MediaTime& from, const MediaTime& to,
                                         bool includeTo = false);
  void clear() { frames_.clear(); }

 private:
  struct Frame {
    TimedMetadataItem item;
    bool delivered = false;
  };
  std::vector<Frame> frames_;  // in stream order
};

}  // namespace skylark
