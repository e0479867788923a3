#include "beacons/URLSessionBeaconTransport.h"

#include <string>

namespace skylark {

BeaconDelivery URLSessionBeaconTransport::deliveryOf(const Result<URLSessionResponse>& result) {
  if (!result.ok()) {
    return {BeaconDelivery::Outcome::transportFailed, 0,
            result.error().domain + " " + std::to_string(result.error().code)};
  }
  const long status = result->response.statusCode;
  if (status == 0) return {BeaconDelivery::Outcome::transportFailed, 0, "no HTTP response"};
  if (status >= 200 && status <= 299) return {BeaconDelivery::Outcome::answered2xx, status, ""};
  return {BeaconDelivery::Outcome::answeredOther, status, "HTTP " + std::to_string(status)};
}

void URLSessionBeaconTransport::send(const URL& url, Delivered delivered) {
  URLRequest request(url);
  request.timeoutInterval = timeout_;
  session_
      ->dataTask(std::move(request),
                 [delivered = std::move(delivered)](Result<URLSessionResponse> result) {
                   if (delivered) delivered(deliveryOf(result));
                 })
      ->resume();
}

}  // namespace skylark
