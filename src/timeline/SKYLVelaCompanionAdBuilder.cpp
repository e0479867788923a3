#include "timeline/SKYLVelaCompanionAdBuilder.h"

namespace skylark {

std::shared_ptr<const SKYLVelaCompanionAd> SKYLVelaCompanionAdBuilder::buildCompanionAd() const& {
  return std::make_shared<const SKYLVelaCompanionAd>(
      static_cast<const SKYLVelaCompanionAd::Fields&>(*this));
}

std::shared_ptr<const SKYLVelaCompanionAd> SKYLVelaCompanionAdBuilder::buildCompanionAd() && {
  return std::make_shared<const SKYLVelaCompanionAd>(
      static_cast<SKYLVelaCompanionAd::Fields&&>(std::move(*this)));
}

}  // namespace skylark
