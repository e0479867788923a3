#include "timeline/SKYLVelaAdBuilder.h"

namespace skylark {

std::shared_ptr<SKYLVelaAd> SKYLVelaAdBuilder::buildAd() const& {
  SKYLVelaAdBuilder copy = *this;
  return std::move(copy).buildAd();
}

std::shared_ptr<SKYLVelaAd> SKYLVelaAdBuilder::buildAd() && {
  auto ad = std::make_shared<SKYLVelaAd>(adTitle, adId, beginTime, duration);
  ad->setLogicalOffset(logicalOffset);
  ad->setImpressionURLs(std::move(impressionURLs));
  ad->setTrackingEventsCollection(std::move(trackingEventsCollection));
  ad->setClickThroughURL(std::move(clickThroughURL));
  ad->setClickTrackingURLs(std::move(clickTrackingURLs));
  ad->setCompanionsCollection(std::move(companionsCollection));
  ad->setVastAdCreativeExtensions(std::move(vastAdCreativeExtensions));
  ad->setVastAdExtensions(std::move(vastAdExtensions));
  ad->setSkipOffset(skipOffset);
  ad->setLiveSSAI(liveSSAI);
  ad->setAdIndex(-1);
  ad->setAdSourcePlaceholder(adSourcePlaceholder);
  ad->setAdNotSlate(adNotSlate);
  ad->setAdVerifications(std::move(adVerifications));
  ad->setViewableImpression(std::move(viewableImpression));
  ad->setClientOnlyTracking(clientOnlyTracking);
  return ad;
}

}  // namespace skylark
