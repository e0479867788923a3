#include "timeline/SKYLVelaAd.h"

#include <functional>

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {
namespace {

SKYLVelaAd::Fields timed(const std::optional<std::string>& title,
                         const std::optional<std::string>& adId, MediaTime beginTime,
                         MediaTime duration) {
  SKYLVelaAd::Fields fields;
  fields.adTitle = title.value_or("");
  fields.adId = adId.value_or("");
  fields.beginTime = beginTime;
  fields.endTime = beginTime + duration;
  fields.duration = duration;
  return fields;
}

}  // namespace

SKYLVelaAd::SKYLVelaAd(const std::optional<std::string>& title,
                       const std::optional<std::string>& adId, MediaTime beginTime,
                       MediaTime duration)
    : fields_(timed(title, adId, beginTime, duration)) {}

bool SKYLVelaAd::operator==(const SKYLVelaAd& other) const {
  // Built ads never change: one is always equal to itself. A tracker asks
  // this of the playing ad on every tick.
  if (this == &other) return true;
  return fields_.liveSSAI == other.fields_.liveSSAI && fields_.adIndex == other.fields_.adIndex &&
         fields_.adTitle == other.fields_.adTitle && fields_.adId == other.fields_.adId &&
         fields_.beginTime == other.fields_.beginTime && fields_.endTime == other.fields_.endTime &&
         fields_.duration == other.fields_.duration &&
         fields_.logicalOffset == other.fields_.logicalOffset &&
         fields_.skipOffset == other.fields_.skipOffset &&
         fields_.impressionURLs == other.fields_.impressionURLs &&
         pointeesEqual(fields_.trackingEventsCollection, other.fields_.trackingEventsCollection) &&
         fields_.clickTrackingURLs == other.fields_.clickTrackingURLs &&
         fields_.clickThroughURL == other.fields_.clickThroughURL &&
         pointeesEqual(fields_.companionsCollection, other.fields_.companionsCollection);
}

size_t SKYLVelaAd::hash() const {
  size_t h = 1;
  h = hashStep(h, std::hash<std::string>{}(fields_.adTitle));
  h = hashStep(h, std::hash<std::string>{}(fields_.adId));
  h = hashStep(h, hashFromDouble(fields_.beginTime.seconds()));
  h = hashStep(h, hashFromDouble(fields_.duration.seconds()));
  return hashStep(h, static_cast<size_t>(fields_.adIndex));
}

std::string SKYLVelaAd::description() const {
  std::string verifications = "(" + std::to_string(fields_.adVerifications.size()) + " records)";
  return descriptionHeader("SKYLVelaAd", this) + " title = " + fields_.adTitle + ";" +
         " adId = " + fields_.adId + ";" + " beginTime = " + fields_.beginTime.description() + ";" +
         " endTime = " + fields_.endTime.description() + ";" +
         " duration = " + fields_.duration.description() + ";" +
         " logicalOffset = " + fields_.logicalOffset.description() + ";" +
         " skipOffset = " + fields_.skipOffset.description() + ";" +
         " adVerifications = " + verifications +
         " viewableImpression = " + (fields_.viewableImpression ? "(present)" : "(null)") + ";" +
         " impressionURLs = " + describeList(fields_.impressionURLs) + ";" +
         " trackingEvents = " + describe(fields_.trackingEventsCollection) + ";" +
         " clickThroughURL = " + describe(fields_.clickThroughURL) + ";" +
         " clickTrackingURLs = " + describeList(fields_.clickTrackingURLs) + ";" +
         " companionCollections = " + describe(fields_.companionsCollection) +
         " isLiveSSAI = " + describe(fields_.liveSSAI) +
         " indexWithinAdSequence = " + std::to_string(fields_.adIndex) +
         " isAdSourcePlaceholder = " + describe(fields_.adSourcePlaceholder) +
         " isAdNotSlate = " + describe(fields_.adNotSlate) + ">";
}

}  // namespace skylark
