#include "timeline/SKYLVelaCompanionAdsCollectionBuilder.h"

#include <algorithm>

namespace skylark {

std::shared_ptr<const SKYLVelaCompanionAdsCollection>
SKYLVelaCompanionAdsCollectionBuilder::buildCompanionAdsCollection() const {
  auto sorted = companionAds;
  std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
    return SKYLVelaCompanionAd::compareByWidthThenHeight(*a, *b) < 0;
  });
  return std::make_shared<const SKYLVelaCompanionAdsCollection>(std::move(sorted));
}

}  // namespace skylark
