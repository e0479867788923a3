#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "live2/SKYLSSAILive2Error.h"
#include "platform/Result.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The tracking answer of the live service and its records: plain values,
// decoded once. Every key is optional on the wire: a missing string reads
// "", a missing array [], a missing number 0 (optional fields stay absent).
// A present key of the wrong JSON type fails the document, except the
// duration keys and the verification resources, which then count as absent.

enum class SKYLSSAILive2TrackingType : int64_t {
  impression = 0,
  start = 1,
  firstQuartile = 2,
  midpoint = 3,
  thirdQuartile = 4,
  complete = 5,
  creativeView = 6,
  pause = 7,
  resume = 8,
  clickThrough = 9,
  clickTracking = 10,
  other = 11,
};

// Case-insensitive: "FirstQuartile" is firstQuartile, "Click" clickTracking,
// anything unknown other.
SKYLSSAILive2TrackingType SKYLSSAILive2TrackingTypeFromEventType(std::string_view eventType);
std::optional<SKYLSSAILive2TrackingType> SKYLSSAILive2TrackingTypeFromRaw(int64_t raw);
// The share of the ad's duration at which the beacon is due; nothing for
// the types fired only on request (pause, resume, clicks, other).
std::optional<double> SKYLSSAILive2TrackingTypeProgressFraction(SKYLSSAILive2TrackingType type);

struct SKYLSSAILive2TrackingEvent {
  std::string eventId;
  std::string eventType;
  std::vector<std::string> beaconUrls;
  double startTimeInSeconds = 0;
  double durationInSeconds = 0;
  std::optional<std::string> eventProgramDateTime;

  SKYLSSAILive2TrackingType trackingType() const {
    return SKYLSSAILive2TrackingTypeFromEventType(eventType);
  }
  bool operator==(const SKYLSSAILive2TrackingEvent&) const = default;
};

struct SKYLSSAILive2CompanionAd {
  std::optional<std::string> id;
  std::optional<int64_t> width;
  std::optional<int64_t> height;
  std::optional<std::string> staticResource;
  std::optional<std::string> creativeType;
  std::optional<std::string> companionClickThrough;
  bool operator==(const SKYLSSAILive2CompanionAd&) const = default;
};

struct SKYLSSAILive2AdVerification {
  struct Resource {
    std::string uri;
    std::optional<std::string> apiFramework;
    std::optional<bool> browserOptional;
    bool operator==(const Resource&) const = default;
  };
  std::string vendor;
  // "javaScriptResource", then "javascriptResource", then each of
  // "javaScriptResources".
  std::vector<Resource> resources;
  std::string verificationParameters;
  bool operator==(const SKYLSSAILive2AdVerification&) const = default;
};

struct SKYLSSAILive2Ad {
  std::string adId;
  std::string vastAdId;
  std::string adTitle;
  std::string adSystem;
  std::string creativeId;
  double startTimeInSeconds = 0;
  double durationInSeconds = 0;
  std::optional<std::string> adProgramDateTime;
  std::optional<std::string> skipOffset;
  std::vector<SKYLSSAILive2TrackingEvent> trackingEvents;
  std::vector<SKYLSSAILive2AdVerification> adVerifications;
  std::vector<SKYLSSAILive2CompanionAd> companionAds;

  // The beacons of every event of that type, in document order.
  std::vector<std::string> beaconUrls(SKYLSSAILive2TrackingType type) const;
  bool operator==(const SKYLSSAILive2Ad&) const = default;
};

struct SKYLSSAILive2Avail {
  std::string availId;
  double startTimeInSeconds = 0;
  // The ad marker's duration when there is one, else the avail's own.
  double durationInSeconds = 0;
  std::optional<std::string> availProgramDateTime;
  std::optional<std::string> adMarkerDuration;  // as received
  std::vector<SKYLSSAILive2Ad> ads;
  std::vector<SKYLSSAILive2TrackingEvent> adBreakTrackingEvents;
};

struct SKYLSSAILive2TrackingResponse {
  std::vector<SKYLSSAILive2Avail> avails;
  std::optional<std::string> nextToken;
  std::optional<int64_t> hlsAnchorMediaSequenceNumber;
  std::optional<std::string> dashAvailabilityStartTime;

  // PARSE_ERROR, "Failed to parse tracking response", for a document that
  // is not JSON or holds a value of the wrong type.
  static Result<SKYLSSAILive2TrackingResponse, SKYLSSAILive2Error> decode(std::string_view json);
};

}  // namespace skylark
