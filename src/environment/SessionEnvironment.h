#pragma once

#include <memory>

#include "beacons/BeaconTransport.h"
#include "environment/SessionClock.h"
#include "host/SKYLAdLedgerManager.h"
#include "platform/DispatchQueue.h"
#include "platform/NotificationCenter.h"
#include "platform/URLSession.h"

namespace skylark {

// Everything a playback session takes from the world around it, built
// once by the session provider and handed to each session, its live
// coordinator and its beacon digester: nothing below reaches a
// process-wide object of its own accord. Immutable; the objects it names
// are safe from any thread (the main queue is the host's run loop).
struct SessionEnvironment {
  MainQueue& mainQueue;
  std::shared_ptr<SessionClock> clock;
  // Ad documents, live sessions and the tracking poll.
  std::shared_ptr<URLSession> urlSession;
  // How every beacon leaves: the application's transport when it gave one.
  std::shared_ptr<BeaconTransport> beaconTransport;
  // The same transport, retrying on the clock what may pass (after 1, 2
  // and 4 s): the live service's beacons.
  std::shared_ptr<BeaconTransport> liveBeaconTransport;
  NotificationCenter& notificationCenter;
  SKYLAdLedgerManager& adLedgerManager;

  // What a caller may give; the rest takes the process's defaults (the
  // wall clock, the shared URL session, beacons over it).
  struct Parts {
    std::shared_ptr<SessionClock> clock;
    std::shared_ptr<URLSession> urlSession;
    std::shared_ptr<BeaconTransport> beaconTransport;
  };
  static std::shared_ptr<const SessionEnvironment> make(Parts parts);
  static std::shared_ptr<const SessionEnvironment> makeDefault() { return make({}); }
};

}  // namespace skylark
