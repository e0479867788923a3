#include "environment/SessionEnvironment.h"

#include <chrono>

#include "beacons/RetryingBeaconTransport.h"
#include "beacons/URLSessionBeaconTransport.h"

namespace skylark {

std::shared_ptr<const SessionEnvironment> SessionEnvironment::make(Parts parts) {
  auto clock = parts.clock ? std::move(parts.clock) : std::make_shared<SystemSessionClock>();
  auto urlSession = parts.urlSession ? std::move(parts.urlSession) : URLSession::shared();
  auto transport = parts.beaconTransport;
  // Live beacons give up after 5 s a try; a try that may pass is retried.
  auto liveInner =
      transport ? transport
                : std::make_shared<URLSessionBeaconTransport>(urlSession, std::chrono::seconds(5));
  if (!transport) transport = std::make_shared<URLSessionBeaconTransport>(urlSession);
  RetryingBeaconTransport::Options retries;
  retries.logLabel = "Meridian Live beacon";
  retries.schedule = [clock](double delay, std::function<void()> work) {
    clock->after(SessionClock::processQueue(Dispatch::global()), delay, std::move(work));
  };
  auto live = RetryingBeaconTransport::create(std::move(liveInner), std::move(retries));
  return std::shared_ptr<const SessionEnvironment>(new SessionEnvironment{
      Dispatch::main(), std::move(clock), std::move(urlSession), std::move(transport),
      std::move(live), NotificationCenter::defaultCenter(), SKYLAdLedgerManager::shared()});
}

}  // namespace skylark
