#pragma once

#include "platform/MediaTime.h"
#include "platform/Observable.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A session's position as the application sees it. Main queue only.
class SKYLBasicPlaybackProgress {
 public:
  explicit SKYLBasicPlaybackProgress(MediaTime initial = MediaTime::negativeInfinity())
      : currentTimeValue(initial) {}

  Observable<MediaTime> currentTimeValue;
};

}  // namespace skylark
