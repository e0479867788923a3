#include "timeline/SKYLVelaAdBuilder.h"

namespace skylark {

std::shared_ptr<SKYLVelaAd> SKYLVelaAdBuilder::buildAd() const {
  auto ad = std::make_shared<SKYLVelaAd>(adTitle, adId, beginTime, duration);
  ad->setLogicalOffset(logicalOffset);
  ad->setImpressionURLs(impressionURLs);
  ad->setTrackingEventsCollection(trackingEventsCollection);
  ad->setClickThroughURL(clickThroughURL);
  ad->setClickTrackingURLs(clickTrackingURLs);
  ad->setCompanionsCollection(companionsCollection);
  ad->setVastAdCreativeExtensions(vastAdCreativeExtensions);
  ad->setVastAdExtensions(vastAdExtensions);
  ad->setSkipOffset(skipOffset);
  ad->setLiveSSAI(liveSSAI);
  ad->setAdIndex(-1);
  ad->setAdSourcePlaceholder(adSourcePlaceholder);
  ad->setAdNotSlate(adNotSlate);
  ad->setAdVerifications(adVerifications);
  ad->setViewableImpression(viewableImpression);
  ad->setClientOnlyTracking(clientOnlyTracking);
  return ad;
}

}  // namespace skylark
