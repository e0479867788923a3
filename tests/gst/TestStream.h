#pragma once

#include <memory>
#include <string>

#include "platform/URL.h"
#include "support/LoopbackServer.h"

namespace skylark::test {

// The stitched test stream that scripts/make-test-stream wrote at build
// time, served over loopback HTTP: /stream/vod.m3u8 and its segments, and a
// beacon sink at /b/AD/EVENT that answers 204.
class TestStream {
 public:
  TestStream();

  URL vod() const { return *URL::parse(server_->url("/stream/vod.m3u8")); }
  URL missing() const { return *URL::parse(server_->url("/stream/none.m3u8")); }
  // The stream's VMAP, naming the served stream and the beacon sink.
  std::string vmap() const;
  LoopbackServer& server() const { return *server_; }

 private:
  std::unique_ptr<LoopbackServer> server_;
};

}  // namespace skylark::test
