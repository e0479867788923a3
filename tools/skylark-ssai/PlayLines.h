#pragma once

#include <string>

#include "TimelineJSON.h"
#include "host/SKYLAdLedgerManager.h"
#include "host/SKYLPlaybackSessionLifecycleEvent.h"
#include "live2/SKYLSSAILive2SessionController.h"
#include "tracking/BeaconDeliveryLedger.h"
#include "tracking/SKYLVelaProgressTrackerEvent.h"

namespace skylark::tool {

// One happening of a playback as `play` prints it: the JSON fields (without
// the times, which the caller stamps) and the readable text.
struct PlayLine {
  Json fields = Json::object();
  std::string text;
};

// A lifecycle event: its type, ad id, the break it opens or closes, the ad
// progress, and "skipped" on ad-skipped events.
PlayLine lifecycleLine(const SKYLPlaybackSessionLifecycleEvent& event);
// An ad event of the session's progress tracker: its type, ad id, the break
// it names, the ad progress, and whether an ad exit was a skip.
PlayLine trackerEventLine(const SKYLVelaProgressTrackerEvent& event);
// A call of the ad ledger with its parameters.
PlayLine ledgerLine(const SKYLAdLedgerManager::Call& call);
// What became of a session's beacons, per ad and type: the entries of the
// line below, as the monitor's page also shows them.
Json deliveryLedgerJSON(const BeaconDeliveryLedger& ledger);
PlayLine deliveryLedgerLine(const BeaconDeliveryLedger& ledger);
// A live stream's tracking poll: where it went, and what it brought or why
// it failed.
PlayLine pollLine(const SKYLSSAILive2PollReport& report);

}  // namespace skylark::tool
