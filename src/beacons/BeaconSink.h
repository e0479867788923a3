#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/MediaTime.h"
#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// What a beacon is for: its ad (empty for content impressions) and its
// type ("impression", "firstQuartile", "pause", "verification", ...), and
// where in the ad and its break it fires (what the VAST macros of its URL
// may ask for; unset where the path that fires it cannot tell).
struct BeaconContext {
  BeaconContext() = default;
  BeaconContext(std::string ad, std::string beaconType)
      : adId(std::move(ad)), type(std::move(beaconType)) {}

  std::string adId;
  std::string type;
  // Where the ad begins on the stream: one creative played in two breaks
  // is two ads.
  std::optional<MediaTime> adBeginTime;
  std::optional<MediaTime> adPlayhead;  // time into the ad
  std::optional<int> breakPosition;     // 1 pre-roll, 2 mid-roll, 3 post-roll
  std::optional<int> podSequence;       // the ad's place in its break, from 1
  std::optional<int> adCount;           // ads begun in the break so far, this one included
  std::optional<std::string> assetURI;  // the ad's media, when known
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
