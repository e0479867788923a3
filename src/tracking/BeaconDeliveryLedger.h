#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
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
// network, answered 2xx, answered otherwise, or failed in transport, and
// how many took more than one request. It changes nothing that is sent; it
// tells a player engineer what reached the ad server. An observer may
// follow each beacon as well (a stream activity monitor); the ledger
// itself keeps counts only. Safe from any thread: beacons are handed over
// on the player's thread and answered on the URL session's.
class BeaconDeliveryLedger {
 public:
  using Outcome = BeaconDelivery::Outcome;

  struct Counts {
    int64_t handed = 0;
    int64_t answered2xx = 0;
    int64_t answeredOther = 0;
    int64_t transportFailed = 0;
    int64_t retried = 0;  // settled after more than one request, whatever the outcome

    int64_t pending() const { return handed - answered2xx - answeredOther - transportFailed; }
    bool operator==(const Counts&) const = default;
  };
  // (ad id, type); content impressions have an empty ad id.
  using Key = std::pair<std::string, std::string>;

  // A beacon handed to the network, as its outcome is recorded against it.
  struct Handed {
    const Key* key = nullptr;  // the ledger's own, kept for its life
    Counts* counts = nullptr;  // likewise
    uint64_t sequence = 0;     // from 1, in the order beacons were handed over
    std::chrono::steady_clock::time_point at;
  };
  // One beacon as an observer hears of it: once as it is handed over (no
  // delivery yet), once more with its final outcome and how long that took
  // from the hand-over, retries included.
  struct Beacon {
    uint64_t sequence = 0;
    const Key& key;
    const URL& url;
    const BeaconDelivery* delivery = nullptr;
    std::chrono::steady_clock::duration latency{};
  };
  using Observer = std::function<void(const Beacon&)>;

  Handed recordHanded(const Key& key, const URL& url);
  void recordOutcome(const Handed& handed, const URL& url, const BeaconDelivery& delivery);
  // Called on the thread that hands a beacon over or hears its outcome,
  // outside the ledger's lock; none by default.
  void setObserver(Observer observer);

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
  uint64_t handedSoFar_ SKYL_GUARDED_BY(mutex_) = 0;
  std::shared_ptr<const Observer> observer_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
