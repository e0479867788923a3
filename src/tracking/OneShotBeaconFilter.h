#pragma once

#include <set>
#include <string>
#include <string_view>

#include "beacons/BeaconSink.h"
#include "platform/ThreadAnnotations.h"
#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Lets each one-shot beacon of a session out once: an ad's impressions,
// verifications, creative view, start, quartiles, completion, its break's
// start and end, companion views and content impressions happen once
// however often the viewer goes back over them. Clicks, skips, pauses and
// the like are the viewer's doing and go out each time. Safe from any
// thread.
class OneShotBeaconFilter {
 public:
  static bool isOneShot(std::string_view type);

  // True the first time this beacon of this ad (or this content impression)
  // is asked about, and for every beacon that is not one-shot.
  bool firstTime(const URL& url, const BeaconContext& context);

 private:
  Mutex mutex_;
  std::set<std::string> fired_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
