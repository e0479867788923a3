#include "timeline/SKYLVelaCompanionAd.h"

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {

int SKYLVelaCompanionAd::compareByWidthThenHeight(const SKYLVelaCompanionAd& a,
                                                  const SKYLVelaCompanionAd& b) {
  if (a.width_ != b.width_) return a.width_ < b.width_ ? -1 : 1;
  if (a.height_ != b.height_) return a.height_ < b.height_ ? -1 : 1;
  return 0;
}

bool SKYLVelaCompanionAd::operator==(const SKYLVelaCompanionAd& other) const {
  return width_ == other.width_ && height_ == other.height_ && identifier_ == other.identifier_ &&
         staticResourceURL_ == other.staticResourceURL_ &&
         staticResourceCreativeType_ == other.staticResourceCreativeType_ &&
         pointeesEqual(trackingEventsCollection_, other.trackingEventsCollection_) &&
         clickThroughURL_ == other.clickThroughURL_ &&
         clickTrackingURLs_ == other.clickTrackingURLs_;
}

size_t SKYLVelaCompanionAd::hash() const {
  size_t h = 1;
  h = hashStep(h, static_cast<size_t>(width_));
  h = hashStep(h, static_cast<size_t>(height_));
  h = hashStep(h, identifier_ ? std::hash<std::string>{}(*identifier_) : 0);
  return hashStep(h, staticResourceURL_ ? staticResourceURL_->hash() : 0);
}

std::string SKYLVelaCompanionAd::description() const {
  return descriptionHeader("SKYLVelaCompanionAd", this) + " ID = " + describe(identifier_) + ";" +
         " size = {" + std::to_string(width_) + ", " + std::to_string(height_) + "};" +
         " staticResourceURL = " + describe(staticResourceURL_) + ";" +
         " staticResourceCreativeType = " + describe(staticResourceCreativeType_) + ";" +
         " trackingEvents = " + describe(trackingEventsCollection_) + ";" +
         " clickThroughURL = " + describe(clickThroughURL_) + ";" +
         " clickTrackingURLs = " + describeList(clickTrackingURLs_) + ";>";
}

}  // namespace skylark
