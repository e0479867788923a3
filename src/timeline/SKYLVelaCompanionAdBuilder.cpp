#include "timeline/SKYLVelaCompanionAdBuilder.h"

namespace skylark {

std::shared_ptr<const SKYLVelaCompanionAd> SKYLVelaCompanionAdBuilder::buildCompanionAd() const {
  return std::make_shared<const SKYLVelaCompanionAd>(
      static_cast<const SKYLVelaCompanionAd::Fields&>(*this));
}

}  // namespace skylark
