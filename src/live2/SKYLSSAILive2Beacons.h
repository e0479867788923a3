#pragma once

#include <compare>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "beacons/BeaconSink.h"
#include "live2/SKYLSSAILive2TrackingResponse.h"
#include "platform/ThreadAnnotations.h"

namespace skylark {

// "impression", "firstQuartile", "clickTracking", ...: the type's name in
// the delivery ledger and the digest.
std::string_view SKYLSSAILive2TrackingTypeName(SKYLSSAILive2TrackingType type);

// One beacon of one ad: what fires at most once in a session.
struct SKYLSSAILive2BeaconKey {
  std::string adId;
  SKYLSSAILive2TrackingType type;
  auto operator<=>(const SKYLSSAILive2BeaconKey&) const = default;
};

// Fires a session's live beacons into its beacon sink (the session's
// digester: logged, announced, counted, sent through the session's
// transport), each key at most once when asked: the key is claimed under
// the lock before anything is sent, so racing updates cannot both fire it.
// Safe from any thread.
class SKYLSSAILive2BeaconFirer {
 public:
  explicit SKYLSSAILive2BeaconFirer(std::shared_ptr<BeaconSink> sink) : sink_(std::move(sink)) {}

  // False (and nothing sent) when the key was fired before.
  bool fireOnce(const SKYLSSAILive2BeaconKey& key, const std::vector<std::string>& urls);
  bool hasFired(const SKYLSSAILive2BeaconKey& key) const;
  // Always sends.
  void fire(const SKYLSSAILive2BeaconKey& key, const std::vector<std::string>& urls);

 private:
  const std::shared_ptr<BeaconSink> sink_;
  mutable Mutex mutex_;
  std::set<SKYLSSAILive2BeaconKey> firedKeys_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
