#pragma once

#include <string>

#include "MonitorServer.h"
#include "TimelineJSON.h"

namespace skylark {
class SKYLVUXSession;
class SKYLVelaTimeline;
}  // namespace skylark

namespace skylark::tool {

// What one play run shows on the monitor's page: the session's source, its
// timeline (the model the SVG draws), the playhead, every line the run
// prints (lifecycle events, beacons as the digest notification announces
// them, rates, seeks), and the session's delivery ledger. Main queue only,
// like the run.
class PlayMonitor {
 public:
  PlayMonitor(MonitorServer& server, const std::string& source);

  void line(const Json& fields, const std::string& text);
  // After each step of the run: the playhead, and whatever changed of the
  // timeline and the delivery ledger.
  void step(const SKYLVUXSession* session, bool live, double streamTime, double contentTime,
            float rate);

 private:
  MonitorServer& server_;
  const int index_;  // the runs of one process (the demo plays two) are told apart
  const SKYLVelaTimeline* timeline_ = nullptr;
  size_t breaks_ = 0;
  Json deliveryRows_;
};

}  // namespace skylark::tool
