#pragma once

#include <memory>

#include "platform/Visibility.h"
#include "timeline/SKYLVelaCompanionAd.h"

namespace SKYLARK_API skylark {

// The fields of a companion while its document is parsed: the very
// aggregate the companion is made from. Not thread-safe; may build any
// number of times.
struct SKYLVelaCompanionAdBuilder : SKYLVelaCompanionAd::Fields {
  std::shared_ptr<const SKYLVelaCompanionAd> buildCompanionAd() const&;
  // Moves the fields into the companion instead of copying them.
  std::shared_ptr<const SKYLVelaCompanionAd> buildCompanionAd() &&;
};

}  // namespace skylark
