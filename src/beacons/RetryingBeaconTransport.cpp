#include "beacons/RetryingBeaconTransport.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>

#include "host/SKYLHostLog.h"
#include "platform/DispatchQueue.h"

namespace skylark {

// Each beacon sent is pending from send() to its final outcome; each drop
// is kept with its reason. Any thread.
struct RetryingBeaconTransport::Ledger {
  std::mutex mutex;
  std::condition_variable settled;
  uint64_t nextId = 0;
  std::map<uint64_t, URL> pending;
  std::vector<Dropped> dropped;

  uint64_t begin(const URL& url) {
    std::lock_guard lock(mutex);
    pending.emplace(nextId, url);
    return nextId++;
  }
  void end(uint64_t id) {
    {
      std::lock_guard lock(mutex);
      pending.erase(id);
    }
    settled.notify_all();
  }
  void drop(const URL& url, std::string why) {
    std::lock_guard lock(mutex);
    dropped.push_back({url, std::move(why)});
  }
};

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
    : inner_(std::move(inner)), options_(std::move(options)), ledger_(std::make_shared<Ledger>()) {}

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
  ledger_->drop(url, why);
}

void RetryingBeaconTransport::send(const URL& url, Delivered delivered) {
  if (!url.isHTTPOrHTTPS()) {
    logDropped(url, "not an http(s) URL");  // retrying cannot help
    if (delivered) {
      delivered({BeaconDelivery::Outcome::transportFailed, 0, "not an http(s) URL", 0});
    }
    return;
  }
  const uint64_t id = ledger_->begin(url);
  attempt(url, 0, [ledger = ledger_, id, delivered = std::move(delivered)](const auto& delivery) {
    if (delivered) delivered(delivery);
    ledger->end(id);
  });
}

std::vector<RetryingBeaconTransport::Dropped> RetryingBeaconTransport::drain(
    std::chrono::steady_clock::duration timeout) {
  std::unique_lock lock(ledger_->mutex);
  ledger_->settled.wait_for(lock, timeout, [this] { return ledger_->pending.empty(); });
  stopped_ = true;
  auto dropped = ledger_->dropped;
  for (const auto& [id, url] : ledger_->pending) dropped.push_back({url, "still retrying at exit"});
  return dropped;
}

void RetryingBeaconTransport::attempt(const URL& url, size_t attemptNumber, Delivered delivered) {
  if (stopped_) {
    logDropped(url, "the transport was stopped");
    if (delivered) {
      delivered({BeaconDelivery::Outcome::transportFailed, 0, "stopped",
                 static_cast<int>(attemptNumber)});
    }
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
                                       const BeaconDelivery& answer, Delivered delivered) {
  BeaconDelivery delivery = answer;
  delivery.attempts = static_cast<int>(attemptNumber) + 1;
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
                                                       delivered, label, ledger = ledger_] {
      if (const auto self = weak.lock()) {
        self->attempt(url, attemptNumber + 1, delivered);
        return;
      }
      const std::string why = "its session ended before the retry, last failure " + delivery.reason;
      SKYLHostLog(3, "SkylarkSSAI: " + label + " %@. %@", url, "dropped, " + why);
      ledger->drop(url, why);
      if (delivered) delivered(delivery);
    });
    return;
  } else {
    const std::string why = "after " + std::to_string(options_.delays.size()) +
                            " retries, last failure " + delivery.reason;
    SKYLHostLog(3, "SkylarkSSAI: " + options_.logLabel + " %@. %@", url, "dropped " + why);
    ledger_->drop(url, why);
  }
  if (delivered) delivered(delivery);
}

}  // namespace skylark
