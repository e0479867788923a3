#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "beacons/BeaconTransport.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Retries what may pass (transport failures, 408, 429, 5xx) through an
// inner transport after each delay in turn (1, 2, 4 s by default); other
// answers are final at once. A URL that is not http(s) is dropped at once.
// Every drop is logged (`logLabel` names the beacons: "SkylarkSSAI:
// <label> <url>. dropped, <why>"). A pending retry holds this transport
// weakly: once it is gone or stopped, the beacon is dropped with its line.
// `delivered` hears the final outcome. drain() waits for the retries still
// due, for the end of a process.
class RetryingBeaconTransport final : public BeaconTransport,
                                      public std::enable_shared_from_this<RetryingBeaconTransport> {
 public:
  // Runs work after a delay in seconds.
  using Schedule = std::function<void(double delay, std::function<void()> work)>;
  struct Options {
    std::vector<double> delays = {1.0, 2.0, 4.0};
    Schedule schedule;  // the global queue by default
    std::string logLabel = "beacon";
  };

  static std::shared_ptr<RetryingBeaconTransport> create(std::shared_ptr<BeaconTransport> inner,
                                                         Options options);

  using BeaconTransport::send;
  void send(const URL& url, Delivered delivered) override;
  void stop() override { stopped_ = true; }

  // A beacon that never arrived, and why.
  struct Dropped {
    URL url;
    std::string why;
  };
  // For the end of a process: waits until no beacon is on its way (retries
  // still due included) or the time-out passes, then stops. Returns every
  // beacon dropped so far, those still on their way last ("still retrying
  // at exit").
  std::vector<Dropped> drain(std::chrono::steady_clock::duration timeout);

  static bool retryable(const BeaconDelivery& delivery);

 private:
  RetryingBeaconTransport(std::shared_ptr<BeaconTransport> inner, Options options);
  void attempt(const URL& url, size_t attemptNumber, Delivered delivered);
  void finished(const URL& url, size_t attemptNumber, const BeaconDelivery& delivery,
                Delivered delivered);
  void logDropped(const URL& url, const std::string& why) const;

  // The beacons on their way and those dropped, shared with callbacks that
  // may outlive this transport.
  struct Ledger;

  const std::shared_ptr<BeaconTransport> inner_;
  const Options options_;
  const std::shared_ptr<Ledger> ledger_;
  std::atomic<bool> stopped_{false};
};

}  // namespace skylark
