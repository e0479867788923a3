#pragma once

#include <memory>
#include <vector>

#include "host/PlayerItem.h"

typedef struct _GstElement GstElement;

namespace skylark {

// Reads the ID3 timed metadata of the HLS transport streams a playbin
// plays. For each tsdemux the playbin makes, a probe on its input exposes
// the timed-metadata stream (TransportStreamID3Exposer) and a probe on the
// private pad that tsdemux then adds reads each ID3 tag's user-text frames,
// with the stream time of the tag's PTS; nothing is linked to that pad, the
// probe drops what it read. The probes run on streaming threads; take()
// runs on any other.
class TimedMetadataTap {
 public:
  // Watches the elements the playbin adds from now on; the playbin must
  // outlive the tap.
  explicit TimedMetadataTap(GstElement* playbin);
  ~TimedMetadataTap();
  TimedMetadataTap(const TimedMetadataTap&) = delete;
  TimedMetadataTap& operator=(const TimedMetadataTap&) = delete;

  // The frames read since the last call, in the order read.
  std::vector<TimedMetadataItem> take();

  struct Inbox;

 private:
  GstElement* playbin_;
  unsigned long handler_ = 0;
  std::shared_ptr<Inbox> inbox_;
};

}  // namespace skylark
