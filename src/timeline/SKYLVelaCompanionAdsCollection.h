#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "platform/Visibility.h"
#include "timeline/SKYLVelaCompanionAd.h"

namespace SKYLARK_API skylark {

// The companions of one ad, sorted by width, then height. Immutable.
class SKYLVelaCompanionAdsCollection {
 public:
  using CompanionAds = std::vector<std::shared_ptr<const SKYLVelaCompanionAd>>;

  explicit SKYLVelaCompanionAdsCollection(CompanionAds orderedCompanionAdsWithWidthThenHeight)
      : ordered_(std::move(orderedCompanionAdsWithWidthThenHeight)) {}

  const CompanionAds& orderedCompanionAdsWithWidthThenHeight() const { return ordered_; }

  // Every companion of exactly that size, in sorted order.
  CompanionAds companionAdsForWidth(int64_t width, int64_t height) const;
  // The first companion with that identifier, or null.
  std::shared_ptr<const SKYLVelaCompanionAd> companionAdWithIdentifier(
      std::string_view identifier) const;

  bool operator==(const SKYLVelaCompanionAdsCollection& other) const;
  size_t hash() const;
  std::string description() const;

 private:
  CompanionAds ordered_;
};

}  // namespace skylark
