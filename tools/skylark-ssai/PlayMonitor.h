#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MonitorServer.h"
#include "TimelineJSON.h"
#include "platform/DateParser.h"

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
  // A newer live stream's ads are placed on the stream's axis by their
  // program dates against the playhead's.
  void step(const SKYLVUXSession* session, bool live, double streamTime, double contentTime,
            float rate, std::optional<SystemTime> playheadDate = std::nullopt);
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

  void showTimeline(const SKYLVUXSession& session, bool live, double streamTime,
                    std::optional<SystemTime> playheadDate);

  MonitorServer& server_;
  const int index_;  // the runs of one process (the demo plays two) are told apart
  const SKYLVelaTimeline* timeline_ = nullptr;
  size_t breaks_ = 0;
  // A newer live stream's ads as drawn, by avail and ad id.
  std::map<std::string, std::map<std::string, Json>> liveAvails_;
  std::vector<std::string> liveAvailOrder_;
  Json deliveryRows_;
  std::shared_ptr<BeaconRows> beaconRows_;
  std::shared_ptr<BeaconDeliveryLedger> followed_;
};

}  // namespace skylark::tool
