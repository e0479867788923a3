#include "timeline/SKYLVelaCompanionAd.h"

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {

int SKYLVelaCompanionAd::compareByWidthThenHeight(const SKYLVelaCompanionAd& a,
                                                  const SKYLVelaCompanionAd& b) {
  if (a.fields_.width != b.fields_.width) return a.fields_.width < b.fields_.width ? -1 : 1;
  if (a.fields_.height != b.fields_.height) return a.fields_.height < b.fields_.height ? -1 : 1;
  return 0;
}

bool SKYLVelaCompanionAd::operator==(const SKYLVelaCompanionAd& other) const {
  return fields_.width == other.fields_.width && fields_.height == other.fields_.height &&
         fields_.identifier == other.fields_.identifier &&
         fields_.staticResourceURL == other.fields_.staticResourceURL &&
         fields_.staticResourceCreativeType == other.fields_.staticResourceCreativeType &&
         pointeesEqual(fields_.trackingEventsCollection, other.fields_.trackingEventsCollection) &&
         fields_.clickThroughURL == other.fields_.clickThroughURL &&
         fields_.clickTrackingURLs == other.fields_.clickTrackingURLs;
}

size_t SKYLVelaCompanionAd::hash() const {
  size_t h = 1;
  h = hashStep(h, static_cast<size_t>(fields_.width));
  h = hashStep(h, static_cast<size_t>(fields_.height));
  h = hashStep(h, fields_.identifier ? std::hash<std::string>{}(*fields_.identifier) : 0);
  return hashStep(h, fields_.staticResourceURL ? fields_.staticResourceURL->hash() : 0);
}

std::string SKYLVelaCompanionAd::description() const {
  return descriptionHeader("SKYLVelaCompanionAd", this) + " ID = " + describe(fields_.identifier) +
         ";" + " size = {" + std::to_string(fields_.width) + ", " + std::to_string(fields_.height) +
         "};" + " staticResourceURL = " + describe(fields_.staticResourceURL) + ";" +
         " staticResourceCreativeType = " + describe(fields_.staticResourceCreativeType) + ";" +
         " trackingEvents = " + describe(fields_.trackingEventsCollection) + ";" +
         " clickThroughURL = " + describe(fields_.clickThroughURL) + ";" +
         " clickTrackingURLs = " + describeList(fields_.clickTrackingURLs) + ";>";
}

}  // namespace skylark
