#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/NotificationCenter.h"
#include "platform/URL.h"
#include "platform/URLSession.h"

namespace skylark {

// Announced before each beacon request; the object is the beacon URL.
inline constexpr std::string_view kSKYLSSAIAnalayticsDigestNotification =
    "kSKYLSSAIAnalayticsDigestNotification";

// How a beacon leaves the process: a plain GET whose answer nobody reads.
class BeaconTransport {
 public:
  virtual ~BeaconTransport() = default;
  // Must not block: the caller is the player's thread.
  virtual void send(const URL& url) = 0;
};

// Beacons over one shared URL session: no headers, no retry.
class URLSessionBeaconTransport final : public BeaconTransport {
 public:
  explicit URLSessionBeaconTransport(std::shared_ptr<URLSession> session = sharedSession())
      : session_(std::move(session)) {}
  void send(const URL& url) override;
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

  void digestEvent(const std::optional<URL>& url);

 private:
  std::shared_ptr<BeaconTransport> transport_;
  NotificationCenter& center_;
  std::mutex mutex_;
  std::set<std::string> droppedSchemes_;  // guarded by mutex_
};

}  // namespace skylark
