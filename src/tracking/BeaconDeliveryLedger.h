#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

#include "beacons/BeaconTransport.h"
#include "platform/Hashing.h"
#include "platform/ThreadAnnotations.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// What became of a session's beacons, per ad and type ("impression",
// "firstQuartile", "verification", ...): how many were handed to the
// network, answered 2xx, answered otherwise, or failed in transport. It
// changes nothing that is sent; it tells a player engineer what reached
// the ad server. Safe from any thread: beacons are handed over on the
// player's thread and answered on the URL session's.
class BeaconDeliveryLedger {
 public:
  using Outcome = BeaconDelivery::Outcome;

  struct Counts {
    int64_t handed = 0;
    int64_t answered2xx = 0;
    int64_t answeredOther = 0;
    int64_t transportFailed = 0;

    int64_t pending() const { return handed - answered2xx - answeredOther - transportFailed; }
    bool operator==(const Counts&) const = default;
  };
  // (ad id, type); content impressions have an empty ad id.
  using Key = std::pair<std::string, std::string>;

  // Counts a beacon handed to the network; its outcome is recorded against
  // the counts returned, which stay where they are for the ledger's life.
  Counts* recordHanded(const Key& key);
  void recordOutcome(Counts* counts, Outcome outcome);

  // Every key's counts, in key order.
  std::map<Key, Counts> counts() const;
  Counts total() const;

 private:
  struct KeyHash {
    size_t operator()(const Key& key) const {
      return hashStep(std::hash<std::string>{}(key.first), std::hash<std::string>{}(key.second));
    }
  };

  mutable Mutex mutex_;
  // Hashed: a beacon's lookup reads a bucket and a node, not a path down a
  // tree, and the ledger is cold by the time each break's beacons go out.
  std::unordered_map<Key, Counts, KeyHash> counts_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
