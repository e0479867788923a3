#include "beacons/RetryingBeaconTransport.h"

#include <chrono>

#include "host/SKYLHostLog.h"
#include "platform/DispatchQueue.h"

namespace skylark {

std::shared_ptr<RetryingBeaconTransport> RetryingBeaconTransport::create(
    std::shared_ptr<BeaconTransport> inner, Options options) {
  if (!options.schedule) {
    options.schedule = [](double delay, std::function<void()> work) {
      Dispatch::global().asyncAfter(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                        std::chrono::duration<double>(delay)),
                                    std::move(work));
    };
  }
  return std::shared_ptr<RetryingBeaconTransport>(
      new RetryingBeaconTransport(std::move(inner), std::move(options)));
}

RetryingBeaconTransport::RetryingBeaconTransport(std::shared_ptr<BeaconTransport> inner,
                                                 Options options)
    : inner_(std::move(inner)), options_(std::move(options)) {}

bool RetryingBeaconTransport::retryable(const BeaconDelivery& delivery) {
  switch (delivery.outcome) {
    case BeaconDelivery::Outcome::answered2xx:
      return false;
    case BeaconDelivery::Outcome::transportFailed:
      return true;
    case BeaconDelivery::Outcome::answeredOther:
      return delivery.statusCode == 408 || delivery.statusCode == 429 || delivery.statusCode >= 500;
  }
  return false;
}

void RetryingBeaconTransport::logDropped(const URL& url, const std::string& why) const {
  SKYLHostLog(3, "SkylarkSSAI: " + options_.logLabel + " %@. %@", url, "dropped, " + why);
}

void RetryingBeaconTransport::send(const URL& url, Delivered delivered) {
  if (!url.isHTTPOrHTTPS()) {
    logDropped(url, "not an http(s) URL");  // retrying cannot help
    if (delivered) delivered({BeaconDelivery::Outcome::transportFailed, 0, "not an http(s) URL"});
    return;
  }
  attempt(url, 0, std::move(delivered));
}

void RetryingBeaconTransport::attempt(const URL& url, size_t attemptNumber, Delivered delivered) {
  if (stopped_) {
    logDropped(url, "the transport was stopped");
    if (delivered) delivered({BeaconDelivery::Outcome::transportFailed, 0, "stopped"});
    return;
  }
  std::weak_ptr<RetryingBeaconTransport> weak = shared_from_this();
  inner_->send(url, [weak, url, attemptNumber, delivered](const BeaconDelivery& delivery) {
    if (const auto self = weak.lock()) {
      self->finished(url, attemptNumber, delivery, delivered);
    } else if (delivered) {
      delivered(delivery);
    }
  });
}

void RetryingBeaconTransport::finished(const URL& url, size_t attemptNumber,
                                       const BeaconDelivery& delivery, Delivered delivered) {
  if (delivery.outcome == BeaconDelivery::Outcome::answered2xx) {
    if (delivered) delivered(delivery);
    return;
  }
  if (!retryable(delivery)) {
    logDropped(url, delivery.reason);
  } else if (attemptNumber < options_.delays.size()) {
    std::weak_ptr<RetryingBeaconTransport> weak = shared_from_this();
    const std::string label = options_.logLabel;
    options_.schedule(options_.delays[attemptNumber], [weak, url, attemptNumber, delivery,
                                                       delivered, label] {
      if (const auto self = weak.lock()) {
        self->attempt(url, attemptNumber + 1, delivered);
        return;
      }
      SKYLHostLog(3, "SkylarkSSAI: " + label + " %@. %@", url,
                  "dropped, its session ended before the retry, last failure " + delivery.reason);
      if (delivered) delivered(delivery);
    });
    return;
  } else {
    SKYLHostLog(3, "SkylarkSSAI: " + options_.logLabel + " %@. %@", url,
                "dropped after " + std::to_string(options_.delays.size()) +
                    " retries, last failure " + delivery.reason);
  }
  if (delivered) delivered(delivery);
}

}  // namespace skylark
