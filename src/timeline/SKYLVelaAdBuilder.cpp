#include "timeline/SKYLVelaAdBuilder.h"

namespace skylark {

std::shared_ptr<const SKYLVelaAd> SKYLVelaAdBuilder::buildAd() const& {
  SKYLVelaAdBuilder copy = *this;
  return std::move(copy).buildAd();
}

std::shared_ptr<const SKYLVelaAd> SKYLVelaAdBuilder::buildAd() && {
  SKYLVelaAd::Fields fields = static_cast<SKYLVelaAd::Fields&&>(std::move(*this));
  fields.endTime = fields.beginTime + fields.duration;
  fields.adIndex = -1;
  return std::make_shared<const SKYLVelaAd>(std::move(fields));
}

}  // namespace skylark
