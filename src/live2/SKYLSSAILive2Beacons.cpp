#include "live2/SKYLSSAILive2Beacons.h"

namespace skylark {

std::string_view SKYLSSAILive2TrackingTypeName(SKYLSSAILive2TrackingType type) {
  using Type = SKYLSSAILive2TrackingType;
  switch (type) {
    case Type::impression:
      return "impression";
    case Type::start:
      return "start";
    case Type::firstQuartile:
      return "firstQuartile";
    case Type::midpoint:
      return "midpoint";
    case Type::thirdQuartile:
      return "thirdQuartile";
    case Type::complete:
      return "complete";
    case Type::creativeView:
      return "creativeView";
    case Type::pause:
      return "pause";
    case Type::resume:
      return "resume";
    case Type::clickThrough:
      return "clickThrough";
    case Type::clickTracking:
      return "clickTracking";
    case Type::other:
      break;
  }
  return "other";
}

bool SKYLSSAILive2BeaconFirer::fireOnce(const SKYLSSAILive2BeaconKey& key,
                                        const std::vector<std::string>& urls) {
  {
    MutexLock lock(mutex_);
    if (!firedKeys_.insert(key).second) return false;
  }
  fire(key, urls);
  return true;
}

bool SKYLSSAILive2BeaconFirer::hasFired(const SKYLSSAILive2BeaconKey& key) const {
  MutexLock lock(mutex_);
  return firedKeys_.count(key) > 0;
}

void SKYLSSAILive2BeaconFirer::fire(const SKYLSSAILive2BeaconKey& key,
                                    const std::vector<std::string>& urls) {
  const BeaconContext context{key.adId, std::string(SKYLSSAILive2TrackingTypeName(key.type))};
  for (const auto& text : urls) {
    auto url = URL::parse(text);
    if (url && !url->isRelative()) sink_->digestEvent(url, context);
  }
}

}  // namespace skylark
