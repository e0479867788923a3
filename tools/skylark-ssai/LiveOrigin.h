#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "LiveWindow.h"
#include "platform/ThreadAnnotations.h"

namespace httplib {
class Server;
}

namespace skylark::tool {

// Serves a stream directory of scripts/make-test-stream as a live origin
// would: live.m3u8 and live-id3.m3u8 as sliding windows over the looped
// stream whose edge moves with the wall clock (LiveWindow), the segments
// and every other file as they are under /stream/, and a beacon sink at /b/AD/EVENT that
// answers 204 and records each request.
class LiveOrigin {
 public:
  struct Options {
    std::string directory;
    // Where the live edge is in the stream when the origin starts (seconds).
    double startPosition = 20;
    size_t windowSegments = 5;
    std::string host = "127.0.0.1";
    int port = 0;  // 0: any free port
  };

  // Null, with the reason in *why, when the directory has no live playlist
  // or the port cannot be had.
  static std::unique_ptr<LiveOrigin> start(const Options& options, std::string* why);
  ~LiveOrigin();
  LiveOrigin(const LiveOrigin&) = delete;
  LiveOrigin& operator=(const LiveOrigin&) = delete;

  std::string base() const;
  // Where the live edge is now.
  double livePosition() const;
  // Every request that reached the sink, as "/b/AD/EVENT", in arrival order.
  std::vector<std::string> received() const;
  // Calls back (on a server thread) with each beacon as it arrives.
  void setBeaconObserver(std::function<void(const std::string& path)> observer);

  // Adds `path` to a server: the window of `window`, whose edge is at
  // `startPosition` when `started` and moves with the clock from there.
  static void serveWindow(httplib::Server& server, const std::string& path, LiveWindow window,
                          std::chrono::steady_clock::time_point started, double startPosition);

 private:
  LiveOrigin() = default;

  Options options_;
  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;
  int port_ = 0;
  std::chrono::steady_clock::time_point started_;
  mutable Mutex mutex_;
  std::vector<std::string> received_ SKYL_GUARDED_BY(mutex_);
  std::function<void(const std::string&)> observer_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark::tool
