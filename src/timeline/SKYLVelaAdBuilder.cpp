#include "timeline/SKYLVelaAdBuilder.h"

namespace skylark {

std::shared_ptr<const SKYLVelaAd> SKYLVelaAdBuilder::buildAd() const& {
  SKYLVelaAdBuilder copy = *this;
  return std::move(copy).buildAd();
}

std::shared_ptr<const SKYLVelaAd> SKYLVelaAdBuilder::buildAd() && {
  SKYLVelaAd::Fields fields;
  fields.title = adTitle.value_or("");
  fields.adId = adId.value_or("");
  fields.beginTime = beginTime;
  fields.endTime = beginTime + duration;
  fields.duration = duration;
  fields.logicalOffset = logicalOffset;
  fields.skipOffset = skipOffset;
  fields.liveSSAI = liveSSAI;
  fields.adSourcePlaceholder = adSourcePlaceholder;
  fields.adNotSlate = adNotSlate;
  fields.clientOnlyTracking = clientOnlyTracking;
  fields.impressionURLs = std::move(impressionURLs);
  fields.trackingEventsCollection = std::move(trackingEventsCollection);
  fields.companionsCollection = std::move(companionsCollection);
  fields.clickThroughURL = std::move(clickThroughURL);
  fields.clickTrackingURLs = std::move(clickTrackingURLs);
  fields.vastAdCreativeExtensions = std::move(vastAdCreativeExtensions);
  fields.vastAdExtensions = std::move(vastAdExtensions);
  fields.adVerifications = std::move(adVerifications);
  fields.viewableImpression = std::move(viewableImpression);
  return std::make_shared<const SKYLVelaAd>(std::move(fields));
}

}  // namespace skylark
