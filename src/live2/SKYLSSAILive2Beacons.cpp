#include "live2/SKYLSSAILive2Beacons.h"

namespace skylark {

bool SKYLSSAILive2BeaconFirer::fireOnce(const std::string& key,
                                        const std::vector<std::string>& urls) {
  {
    MutexLock lock(mutex_);
    if (!firedKeys_.insert(key).second) return false;
  }
  fire(urls);
  return true;
}

bool SKYLSSAILive2BeaconFirer::hasFired(const std::string& key) const {
  MutexLock lock(mutex_);
  return firedKeys_.count(key) > 0;
}

void SKYLSSAILive2BeaconFirer::fire(const std::vector<std::string>& urls) {
  for (const auto& text : urls) {
    auto url = URL::parse(text);
    if (url && !url->isRelative()) transport_->send(*url);
  }
}

}  // namespace skylark
