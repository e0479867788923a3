#include "timeline/SKYLVelaCompanionAdBuilder.h"

namespace skylark {

std::shared_ptr<const SKYLVelaCompanionAd> SKYLVelaCompanionAdBuilder::buildCompanionAd() const {
  return std::make_shared<const SKYLVelaCompanionAd>(SKYLVelaCompanionAd::Fields{
      width, height, identifier, staticResourceURL, staticResourceCreativeType,
      trackingEventsCollection, clickThroughURL, clickTrackingURLs});
}

}  // namespace skylark
