#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/NotificationCenter.h"
#include "platform/URL.h"
#include "platform/URLSession.h"
#include "tracking/BeaconDeliveryLedger.h"

namespace skylark {

// Announced before each beacon request; the object is the beacon URL.
inline constexpr std::string_view kSKYLSSAIAnalayticsDigestNotification =
    "kSKYLSSAIAnalayticsDigestNotification";

// How a beacon leaves the process: a plain GET whose answer changes nothing.
class BeaconTransport {
 public:
  using Delivered = std::function<void(BeaconDeliveryLedger::Outcome)>;

  virtual ~BeaconTransport() = default;
  // Must not block: the caller is the player's thread.
  virtual void send(const URL& url) = 0;
  // As send, telling what became of it (on any thread); a transport that
  // cannot tell never calls back.
  virtual void send(const URL& url, Delivered delivered) {
    (void)delivered;
    send(url);
  }
};

// Beacons over one shared URL session: no headers, no retry.
class URLSessionBeaconTransport final : public BeaconTransport {
 public:
  explicit URLSessionBeaconTransport(std::shared_ptr<URLSession> session = sharedSession())
      : session_(std::move(session)) {}
  void send(const URL& url) override { send(url, nullptr); }
  void send(const URL& url, Delivered delivered) override;
  static std::shared_ptr<URLSession> sharedSession();

 private:
  std::shared_ptr<URLSession> session_;
};

// The single place where a beacon is logged, announced and requested.
// Only http and https beacons leave; any other scheme is logged once (per
// scheme) and dropped. Safe from any thread.
class SKYLVelaAnalyticsDigester {
 public:
  explicit SKYLVelaAnalyticsDigester(
      std::shared_ptr<BeaconTransport> transport = std::make_shared<URLSessionBeaconTransport>(),
      NotificationCenter& center = NotificationCenter::defaultCenter())
      : transport_(std::move(transport)), center_(center) {}

  // What a beacon is, for the delivery ledger: its ad and type.
  struct Context {
    std::string adId;
    std::string type;
  };

  void digestEvent(const std::optional<URL>& url) { digestEvent(url, Context{}); }
  void digestEvent(const std::optional<URL>& url, const Context& context);

  // Counts each beacon handed over and its outcome; none by default.
  void setDeliveryLedger(std::shared_ptr<BeaconDeliveryLedger> ledger);

 private:
  std::shared_ptr<BeaconTransport> transport_;
  std::shared_ptr<BeaconDeliveryLedger> ledger_;  // guarded by mutex_
  NotificationCenter& center_;
  std::mutex mutex_;
  std::set<std::string> droppedSchemes_;  // guarded by mutex_
};

}  // namespace skylark
