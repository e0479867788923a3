#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/ThreadAnnotations.h"

namespace httplib {
class Server;
}

namespace skylark::tool {

// The demo's own ad service, on 127.0.0.1 at an ephemeral port: a VMAP
// document for a VOD (a pre-roll pod, two mid-rolls, a post-roll, with
// impressions, quartiles, creative views, verifications, companions and a
// skip offset), a live service of the newer kind (session POST, tracking
// GET with nextToken, an ad placed a few seconds after the session opens),
// a beacon sink at /b/AD/EVENT that records every request, and generated
// documents of any size at /generated.xml?breaks=N&ads=M&seed=S.
class DemoService {
 public:
  // The live service dates its ad this far behind the wall clock, so a
  // playhead that delay behind the clock meets it within seconds.
  // With a stream directory (scripts/make-test-stream DIR --layout demo),
  // the VOD stream itself is served too, at /vod/vod.m3u8, and the live
  // session's manifest, /live/master.m3u8, is that stream looped as a live
  // window sliding with the clock, so a real player can play both.
  explicit DemoService(double playheadDelaySeconds = 10, const std::string& streamDirectory = "");
  ~DemoService();
  DemoService(const DemoService&) = delete;
  DemoService& operator=(const DemoService&) = delete;

  std::string base() const;
  std::string vmapURL() const { return base() + "/vod/vmap.xml"; }
  std::string liveURL() const { return base() + "/live/v1/session"; }

  // Every request that reached the sink, as "/b/AD/EVENT", in arrival order.
  std::vector<std::string> received() const;
  // Calls back (on a server thread) with each beacon as it arrives.
  void setBeaconObserver(std::function<void(const std::string& path)> observer);
  // Waits until no beacon has arrived for `quiet`, at most `timeout`.
  void waitUntilQuiet(std::chrono::milliseconds quiet, std::chrono::milliseconds timeout) const;

  static std::string vodDocument(const std::string& base);

 private:
  std::string trackingAnswer();
  void serveLiveStream(const std::string& streamDirectory);

  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;
  int port_ = 0;
  const double playheadDelay_;
  mutable Mutex mutex_;
  std::vector<std::string> received_ SKYL_GUARDED_BY(mutex_);
  std::chrono::steady_clock::time_point lastBeacon_ SKYL_GUARDED_BY(mutex_) =
      std::chrono::steady_clock::now();
  std::function<void(const std::string&)> observer_ SKYL_GUARDED_BY(mutex_);
  std::chrono::system_clock::time_point liveOpened_ SKYL_GUARDED_BY(mutex_){};
  int polls_ SKYL_GUARDED_BY(mutex_) = 0;
};

}  // namespace skylark::tool
