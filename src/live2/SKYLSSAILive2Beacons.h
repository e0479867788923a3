#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "beacons/BeaconTransport.h"
#include "platform/ThreadAnnotations.h"

namespace skylark {

// Fires a session's beacons, each (ad, type) pair at most once: the key is
// claimed under the lock before anything is sent, so racing updates cannot
// both fire it. Safe from any thread.
class SKYLSSAILive2BeaconFirer {
 public:
  explicit SKYLSSAILive2BeaconFirer(std::shared_ptr<BeaconTransport> transport)
      : transport_(std::move(transport)) {}

  // False (and nothing sent) when the key was fired before.
  bool fireOnce(const std::string& key, const std::vector<std::string>& urls);
  bool hasFired(const std::string& key) const;
  // Always sends.
  void fire(const std::vector<std::string>& urls);

 private:
  std::shared_ptr<BeaconTransport> transport_;
  mutable Mutex mutex_;
  std::set<std::string> firedKeys_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
