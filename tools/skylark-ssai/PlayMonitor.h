#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "MonitorServer.h"
#include "TimelineJSON.h"

namespace skylark {
class BeaconDeliveryLedger;
class SKYLVUXSession;
class SKYLVelaTimeline;
struct SKYLSSAILive2PollReport;
}  // namespace skylark

namespace skylark::tool {

// What one play run shows on the monitor's page: the session's source, its
// timeline (the model the SVG draws), the playhead, every line the run
// prints (lifecycle events, rates, seeks), each beacon and what became of
// it, the delivery ledger's counts, and a live stream's tracking polls.
// Main queue only, like the run, except where said.
class PlayMonitor {
 public:
  PlayMonitor(MonitorServer& server, const std::string& source);
  ~PlayMonitor();

  void line(const Json& fields, const std::string& text);
  // After each step of the run: the playhead, and whatever changed of the
  // timeline and the delivery ledger.
  void step(const SKYLVUXSession* session, bool live, double streamTime, double contentTime,
            float rate);
  // One row a beacon of the session's ledger from now on: when it was
  // handed over (on the stream and in content), then its outcome, the
  // requests it took and how long from the hand-over. Without `sending`
  // the run hands nothing to the network, and each row says so.
  void followBeacons(const std::shared_ptr<BeaconDeliveryLedger>& ledger, bool sending);
  // Where the beacons handed over from now on are stamped; each step moves
  // it too.
  void playheadMoved(double streamTime, double contentTime);
  void poll(const SKYLSSAILive2PollReport& report, double streamTime);

 private:
  struct BeaconRows;  // on whichever thread the ledger tells of a beacon

  MonitorServer& server_;
  const int index_;  // the runs of one process (the demo plays two) are told apart
  const SKYLVelaTimeline* timeline_ = nullptr;
  size_t breaks_ = 0;
  Json deliveryRows_;
  std::shared_ptr<BeaconRows> beaconRows_;
  std::shared_ptr<BeaconDeliveryLedger> followed_;
};

}  // namespace skylark::tool
