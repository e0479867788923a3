#pragma once

#include <functional>
#include <string>

#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// What became of one beacon request.
struct BeaconDelivery {
  enum class Outcome { answered2xx, answeredOther, transportFailed };

  Outcome outcome = Outcome::transportFailed;
  long statusCode = 0;  // the HTTP status, when there was an answer
  std::string reason;   // why it failed: "HTTP 503", "NSURLErrorDomain -1001", ...
  int attempts = 1;     // requests made for it, retries included
};

// How a beacon leaves the process: a plain GET whose answer changes
// nothing. One interface for every path that sends beacons; retries are a
// decorator (RetryingBeaconTransport), not a second kind of transport.
class BeaconTransport {
 public:
  using Delivered = std::function<void(const BeaconDelivery&)>;

  virtual ~BeaconTransport() = default;
  // Must not block: the caller may be the player's thread. `delivered`
  // (may be empty) hears the outcome once, on any thread; a transport that
  // cannot tell never calls it.
  virtual void send(const URL& url, Delivered delivered) = 0;
  void send(const URL& url) { send(url, nullptr); }
  // Nothing more leaves after this; what already left finishes.
  virtual void stop() {}
};

}  // namespace skylark
