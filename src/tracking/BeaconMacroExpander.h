#pragma once

#include <cstdint>
#include <memory>
#include <random>

#include "beacons/BeaconSink.h"
#include "environment/SessionClock.h"
#include "platform/MediaTime.h"
#include "platform/ThreadAnnotations.h"
#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Where the player is, as the session last saw it: the stream's time and
// the content time it maps to. The session writes it on each playhead
// update (only when macros are on); beacons read it from any thread.
class BeaconPlayheads {
 public:
  void set(const MediaTime& stream, const MediaTime& content) {
    MutexLock lock(mutex_);
    stream_ = stream;
    content_ = content;
  }
  std::pair<MediaTime, MediaTime> get() const {
    MutexLock lock(mutex_);
    return {stream_, content_};
  }

 private:
  mutable Mutex mutex_;
  MediaTime stream_ SKYL_GUARDED_BY(mutex_) = MediaTime::invalid();
  MediaTime content_ SKYL_GUARDED_BY(mutex_) = MediaTime::invalid();
};

// Fills in the VAST macros of a beacon URL just before it is requested:
// a fresh cache buster, the clock's time, the playheads, and what the
// beacon's context says of its ad. Safe from any thread.
class BeaconMacroExpander {
 public:
  // `seed` makes the cache busters repeatable (tests); by default they
  // are random.
  BeaconMacroExpander(std::shared_ptr<SessionClock> clock,
                      std::shared_ptr<const BeaconPlayheads> playheads,
                      uint64_t seed = std::random_device{}());

  // The URL with its macros expanded; the URL itself when it has none, or
  // when the expansion is not a URL (then it is sent as written).
  URL expand(const URL& url, const BeaconContext& context);

 private:
  std::string cacheBuster();

  const std::shared_ptr<SessionClock> clock_;
  const std::shared_ptr<const BeaconPlayheads> playheads_;
  Mutex mutex_;
  std::mt19937_64 random_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
