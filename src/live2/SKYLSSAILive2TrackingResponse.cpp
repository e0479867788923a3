#include "live2/SKYLSSAILive2TrackingResponse.h"

#include <algorithm>
#include <cctype>

#include "live2/JSONFields.h"
#include "live2/SKYLSSAILive2Time.h"
#include "platform/ASCIICase.h"

namespace skylark {
namespace {

using namespace live2_json;

template <typename T, typename Decode>
std::vector<T> decodeArray(const Json& parent, const char* key, Decode decode) {
  std::vector<T> items;
  if (const Json* list = array(parent, key)) {
    items.reserve(list->size());
    for (const auto& item : *list) items.push_back(decode(object(item)));
  }
  return items;
}

SKYLSSAILive2TrackingEvent decodeEvent(const Json& o) {
  SKYLSSAILive2TrackingEvent event;
  event.eventId = string(o, "eventId");
  event.eventType = string(o, "eventType");
  if (const Json* urls = array(o, "beaconUrls")) {
    for (const auto& url : *urls) {
      if (!url.is_string()) throw WrongType{};
      event.beaconUrls.push_back(url.get<std::string>());
    }
  }
  event.startTimeInSeconds = duration(o, "startTimeInSeconds", "startTime");
  event.durationInSeconds = duration(o, "durationInSeconds", "duration");
  event.eventProgramDateTime = optionalString(o, "eventProgramDateTime");
  return event;
}

SKYLSSAILive2CompanionAd decodeCompanion(const Json& o) {
  SKYLSSAILive2CompanionAd companion;
  companion.id = optionalString(o, "id");
  companion.width = optionalInteger(o, "width");
  companion.height = optionalInteger(o, "height");
  companion.staticResource = optionalString(o, "staticResource");
  companion.creativeType = optionalString(o, "creativeType");
  companion.companionClickThrough = optionalString(o, "companionClickThrough");
  return companion;
}

SKYLSSAILive2AdVerification decodeVerification(const Json& o) {
  SKYLSSAILive2AdVerification verification;
  verification.vendor = string(o, "vendor");
  verification.verificationParameters = string(o, "verificationParameters");
  for (const char* key : {"javaScriptResource", "javascriptResource"}) {
    const auto uri = lenientString(o, key);
    if (uri && !uri->empty()) verification.resources.push_back({*uri, std::nullopt, std::nullopt});
  }
  // A wrong-typed resource list (or a wrong-typed entry in it) counts as absent.
  try {
    for (auto& resource : decodeArray<SKYLSSAILive2AdVerification::Resource>(
             o, "javaScriptResources", [](const Json& r) {
               return SKYLSSAILive2AdVerification::Resource{string(r, "uri"),
                                                            optionalString(r, "apiFramework"),
                                                            optionalBool(r, "browserOptional")};
             })) {
      verification.resources.push_back(std::move(resource));
    }
  } catch (const WrongType&) {
  }
  return verification;
}

SKYLSSAILive2Ad decodeAd(const Json& o) {
  SKYLSSAILive2Ad ad;
  ad.adId = string(o, "adId");
  ad.vastAdId = string(o, "vastAdId");
  ad.adTitle = string(o, "adTitle");
  ad.adSystem = string(o, "adSystem");
  ad.creativeId = string(o, "creativeId");
  ad.startTimeInSeconds = duration(o, "startTimeInSeconds", "startTime");
  ad.durationInSeconds = duration(o, "durationInSeconds", "duration");
  ad.adProgramDateTime = optionalString(o, "adProgramDateTime");
  ad.skipOffset = optionalString(o, "skipOffset");
  ad.trackingEvents = decodeArray<SKYLSSAILive2TrackingEvent>(o, "trackingEvents", decodeEvent);
  ad.adVerifications =
      decodeArray<SKYLSSAILive2AdVerification>(o, "adVerifications", decodeVerification);
  ad.companionAds = decodeArray<SKYLSSAILive2CompanionAd>(o, "companionAds", decodeCompanion);
  return ad;
}

SKYLSSAILive2Avail decodeAvail(const Json& o) {
  SKYLSSAILive2Avail avail;
  avail.availId = string(o, "availId");
  avail.startTimeInSeconds = duration(o, "startTimeInSeconds", "startTime");
  avail.availProgramDateTime = optionalString(o, "availProgramDateTime");
  avail.adMarkerDuration = lenientString(o, "adMarkerDuration");
  const auto markerSeconds = lenientNumber(o, "adMarkerDurationInSeconds");
  const auto marker = avail.adMarkerDuration
                          ? SKYLSSAILive2ParseTimeDuration(*avail.adMarkerDuration)
                          : std::nullopt;
  if (markerSeconds && *markerSeconds > 0) {
    avail.durationInSeconds = *markerSeconds;
  } else if (marker && *marker > 0 && *marker <= 1e9) {
    avail.durationInSeconds = *marker;
  } else {
    avail.durationInSeconds = duration(o, "durationInSeconds", "duration");
  }
  avail.ads = decodeArray<SKYLSSAILive2Ad>(o, "ads", decodeAd);
  avail.adBreakTrackingEvents =
      decodeArray<SKYLSSAILive2TrackingEvent>(o, "adBreakTrackingEvents", decodeEvent);
  return avail;
}

}  // namespace

SKYLSSAILive2TrackingType SKYLSSAILive2TrackingTypeFromEventType(std::string_view eventType) {
  const std::string lower = lowercaseASCII(eventType);
  using T = SKYLSSAILive2TrackingType;
  if (lower == "impression") return T::impression;
  if (lower == "start") return T::start;
  if (lower == "firstquartile") return T::firstQuartile;
  if (lower == "midpoint") return T::midpoint;
  if (lower == "thirdquartile") return T::thirdQuartile;
  if (lower == "complete") return T::complete;
  if (lower == "creativeview") return T::creativeView;
  if (lower == "pause") return T::pause;
  if (lower == "resume") return T::resume;
  if (lower == "clickthrough") return T::clickThrough;
  if (lower == "clicktracking" || lower == "click") return T::clickTracking;
  return T::other;
}

std::optional<SKYLSSAILive2TrackingType> SKYLSSAILive2TrackingTypeFromRaw(int64_t raw) {
  if (raw < 0 || raw > 11) return std::nullopt;
  return static_cast<SKYLSSAILive2TrackingType>(raw);
}

std::optional<double> SKYLSSAILive2TrackingTypeProgressFraction(SKYLSSAILive2TrackingType type) {
  switch (type) {
    case SKYLSSAILive2TrackingType::impression:
    case SKYLSSAILive2TrackingType::start:
    case SKYLSSAILive2TrackingType::creativeView:
      return 0.0;
    case SKYLSSAILive2TrackingType::firstQuartile:
      return 0.25;
    case SKYLSSAILive2TrackingType::midpoint:
      return 0.5;
    case SKYLSSAILive2TrackingType::thirdQuartile:
      return 0.75;
    case SKYLSSAILive2TrackingType::complete:
      return 1.0;
    default:
      return std::nullopt;
  }
}

std::vector<std::string> SKYLSSAILive2Ad::beaconUrls(SKYLSSAILive2TrackingType type) const {
  std::vector<std::string> urls;
  for (const auto& event : trackingEvents) {
    if (event.trackingType() == type) {
      urls.insert(urls.end(), event.beaconUrls.begin(), event.beaconUrls.end());
    }
  }
  return urls;
}

Result<SKYLSSAILive2TrackingResponse, SKYLSSAILive2Error> SKYLSSAILive2TrackingResponse::decode(
    std::string_view json) {
  const SKYLSSAILive2Error failure(SKYLSSAILive2ErrorCode::PARSE_ERROR,
                                   "Failed to parse tracking response");
  const auto document = parse(json);
  if (!document) return failure;
  try {
    const Json& o = object(*document);
    SKYLSSAILive2TrackingResponse response;
    response.avails = decodeArray<SKYLSSAILive2Avail>(o, "avails", decodeAvail);
    response.nextToken = optionalString(o, "nextToken");
    response.hlsAnchorMediaSequenceNumber = optionalInteger(o, "hlsAnchorMediaSequenceNumber");
    response.dashAvailabilityStartTime = optionalString(o, "dashAvailabilityStartTime");
    return response;
  } catch (const WrongType&) {
    return failure;
  } catch (const Json::exception&) {
    return failure;
  }
}

}  // namespace skylark
