#pragma once

#include <chrono>
#include <memory>

#include "beacons/BeaconTransport.h"
#include "platform/URLSession.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Beacons as single GETs over a URL session (by default the process's one
// shared session, so a request handed over finishes whatever becomes of
// whoever sent it): no headers, no retry.
class URLSessionBeaconTransport final : public BeaconTransport {
 public:
  explicit URLSessionBeaconTransport(std::shared_ptr<URLSession> session = URLSession::shared(),
                                     std::chrono::milliseconds timeout = std::chrono::seconds(60))
      : session_(std::move(session)), timeout_(timeout) {}

  using BeaconTransport::send;
  void send(const URL& url, Delivered delivered) override;

  // The outcome a URL session's result stands for.
  static BeaconDelivery deliveryOf(const Result<URLSessionResponse>& result);

 private:
  const std::shared_ptr<URLSession> session_;
  const std::chrono::milliseconds timeout_;
};

}  // namespace skylark
