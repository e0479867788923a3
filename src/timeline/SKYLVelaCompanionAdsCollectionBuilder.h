#pragma once

#include <memory>

#include "platform/Visibility.h"
#include "timeline/SKYLVelaCompanionAdsCollection.h"

namespace SKYLARK_API skylark {

// Collects an ad's companions while its document is parsed. Not thread-safe.
struct SKYLVelaCompanionAdsCollectionBuilder {
  SKYLVelaCompanionAdsCollection::CompanionAds companionAds;

  void addCompanionAd(std::shared_ptr<const SKYLVelaCompanionAd> companionAd) {
    if (companionAd) companionAds.push_back(std::move(companionAd));
  }
  // Sorted by width, then height; equal sizes keep their insertion order.
  std::shared_ptr<const SKYLVelaCompanionAdsCollection> buildCompanionAdsCollection() const;
};

}  // namespace skylark
