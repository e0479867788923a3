#include "timeline/SKYLVelaCompanionAdsCollection.h"

#include <algorithm>

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {

SKYLVelaCompanionAdsCollection::CompanionAds SKYLVelaCompanionAdsCollection::companionAdsForWidth(
    int64_t width, int64_t height) const {
  CompanionAds matches;
  for (const auto& companion : ordered_) {
    if (companion->width() > width) break;
    if (companion->width() == width && companion->height() == height) matches.push_back(companion);
  }
  return matches;
}

std::shared_ptr<const SKYLVelaCompanionAd>
SKYLVelaCompanionAdsCollection::companionAdWithIdentifier(std::string_view identifier) const {
  for (const auto& companion : ordered_) {
    if (companion->identifier() == identifier) return companion;
  }
  return nullptr;
}

bool SKYLVelaCompanionAdsCollection::operator==(const SKYLVelaCompanionAdsCollection& other) const {
  return std::equal(ordered_.begin(), ordered_.end(), other.ordered_.begin(), other.ordered_.end(),
                    [](const auto& a, const auto& b) { return pointeesEqual(a, b); });
}

size_t SKYLVelaCompanionAdsCollection::hash() const {
  size_t h = 1;
  for (const auto& companion : ordered_) h = hashStep(h, companion->hash());
  return h;
}

std::string SKYLVelaCompanionAdsCollection::description() const {
  return descriptionHeader("SKYLVelaCompanionAdsCollection", this) +
         " orderedCompanionAdsWithWidthThenHeight = " + describeList(ordered_) + ";>";
}

}  // namespace skylark
