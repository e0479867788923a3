#pragma once

#include <optional>
#include <string>

#include "platform/URL.h"

namespace skylark {

// What a beacon is for: its ad (empty for content impressions) and its
// type ("impression", "firstQuartile", "pause", "verification", ...).
struct BeaconContext {
  std::string adId;
  std::string type;
};

// Where every beacon the plug-in fires goes to be logged, announced,
// counted and handed to the transport, whichever path fired it (the ad
// timeline's analytics or the live service's coordinator).
class BeaconSink {
 public:
  virtual ~BeaconSink() = default;
  virtual void digestEvent(const std::optional<URL>& url, const BeaconContext& context) = 0;
};

}  // namespace skylark
