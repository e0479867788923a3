#pragma once

#include <memory>

#include "platform/Visibility.h"
#include "timeline/SKYLVelaAd.h"

namespace SKYLARK_API skylark {

// The fields of an ad while its document is parsed: the very aggregate the
// ad is made from (a null title or id is the empty string). Not
// thread-safe; may build any number of times.
struct SKYLVelaAdBuilder : SKYLVelaAd::Fields {
  // endTime is beginTime + duration and the ad index -1 (a live parser
  // numbers its ads afterwards). The rvalue form moves the fields into the
  // ad instead of copying them.
  std::shared_ptr<const SKYLVelaAd> buildAd() const&;
  std::shared_ptr<const SKYLVelaAd> buildAd() &&;
};

}  // namespace skylark
