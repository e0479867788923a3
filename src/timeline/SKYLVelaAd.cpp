#include "timeline/SKYLVelaAd.h"

#include <functional>

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {

SKYLVelaAd::SKYLVelaAd(const std::optional<std::string>& title,
                       const std::optional<std::string>& adId, MediaTime beginTime,
                       MediaTime duration)
    : title_(title.value_or("")),
      adId_(adId.value_or("")),
      beginTime_(beginTime),
      endTime_(beginTime + duration),
      duration_(duration) {}

bool SKYLVelaAd::operator==(const SKYLVelaAd& other) const {
  return liveSSAI_ == other.liveSSAI_ && adIndex_ == other.adIndex_ && title_ == other.title_ &&
         adId_ == other.adId_ && beginTime_ == other.beginTime_ && endTime_ == other.endTime_ &&
         duration_ == other.duration_ && logicalOffset_ == other.logicalOffset_ &&
         skipOffset_ == other.skipOffset_ && impressionURLs_ == other.impressionURLs_ &&
         pointeesEqual(trackingEventsCollection_, other.trackingEventsCollection_) &&
         clickTrackingURLs_ == other.clickTrackingURLs_ &&
         clickThroughURL_ == other.clickThroughURL_ &&
         pointeesEqual(companionsCollection_, other.companionsCollection_);
}

size_t SKYLVelaAd::hash() const {
  size_t h = 1;
  h = hashStep(h, std::hash<std::string>{}(title_));
  h = hashStep(h, std::hash<std::string>{}(adId_));
  h = hashStep(h, hashFromDouble(beginTime_.seconds()));
  h = hashStep(h, hashFromDouble(duration_.seconds()));
  return hashStep(h, static_cast<size_t>(adIndex_));
}

std::string SKYLVelaAd::description() const {
  std::string verifications = "(" + std::to_string(adVerifications_.size()) + " records)";
  return descriptionHeader("SKYLVelaAd", this) + " title = " + title_ + ";" + " adId = " + adId_ +
         ";" + " beginTime = " + beginTime_.description() + ";" +
         " endTime = " + endTime_.description() + ";" + " duration = " + duration_.description() +
         ";" + " logicalOffset = " + logicalOffset_.description() + ";" +
         " skipOffset = " + skipOffset_.description() + ";" +
         " adVerifications = " + verifications +
         " viewableImpression = " + (viewableImpression_ ? "(present)" : "(null)") + ";" +
         " impressionURLs = " + describeList(impressionURLs_) + ";" +
         " trackingEvents = " + describe(trackingEventsCollection_) + ";" +
         " clickThroughURL = " + describe(clickThroughURL_) + ";" +
         " clickTrackingURLs = " + describeList(clickTrackingURLs_) + ";" +
         " companionCollections = " + describe(companionsCollection_) +
         " isLiveSSAI = " + describe(liveSSAI_) +
         " indexWithinAdSequence = " + std::to_string(adIndex_) +
         " isAdSourcePlaceholder = " + describe(adSourcePlaceholder_) +
         " isAdNotSlate = " + describe(adNotSlate_) + ">";
}

}  // namespace skylark
