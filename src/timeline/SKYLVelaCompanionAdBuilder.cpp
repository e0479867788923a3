#include "timeline/SKYLVelaCompanionAdBuilder.h"

namespace skylark {

std::shared_ptr<const SKYLVelaCompanionAd> SKYLVelaCompanionAdBuilder::buildCompanionAd() const {
  auto ad = std::make_shared<SKYLVelaCompanionAd>(width, height);
  ad->setIdentifier(identifier);
  ad->setStaticResourceURL(staticResourceURL);
  ad->setStaticResourceCreativeType(staticResourceCreativeType);
  ad->setTrackingEventsCollection(trackingEventsCollection);
  ad->setClickThroughURL(clickThroughURL);
  ad->setClickTrackingURLs(clickTrackingURLs);
  return ad;
}

}  // namespace skylark
