#include "host/gst/TimedMetadataCrossings.h"

#include <algorithm>

namespace skylark {

void TimedMetadataCrossings::add(std::vector<TimedMetadataItem> items) {
  for (auto& item : items) {
    const bool known = std::any_of(frames_.begin(), frames_.end(), [&](const Frame& frame) {
      return frame.item.time == item.time && frame.item.key == item.key &&
             frame.item.bytes == item.bytes;
    });
    if (known) continue;
    const auto at = std::upper_bound(
        frames_.begin(), frames_.end(), item.time,
        [](const MediaTime& time, const Frame& frame) { return time < frame.item.time; });
    frames_.insert(at, Frame{std::move(item)});
  }
}

std::vector<TimedMetadataItem> TimedMetadataCrossings::crossed(const MediaTime& from,
                                                               const MediaTime& to,
                                                               bool includeTo) {
  std::vector<TimedMetadataItem> out;
  for (auto& frame : frames_) {
    const MediaTime& t = frame.item.time;
    if (frame.delivered || t < from || t > to || (t == to && !includeTo)) continue;
    frame.delivered = true;
    out.push_back(frame.item);
  }
  return out;
}

}  // namespace skylark
