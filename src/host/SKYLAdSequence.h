#pragma once

#include <memory>
#include <vector>

#include "host/SKYLAd.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The host's record of one ad break and the display options for its
// countdowns.
struct SKYLAdSequence {
  std::vector<std::shared_ptr<SKYLAd>> ads;
  SKYLAd::Properties properties;
  bool vmapClientOptionsShowAdRemainingTime = true;
  bool vmapClientOptionsShowAdBreakRemainingTime = true;
  bool vmapClientOptionsShowNumberOfRemainingAds = true;

  void setVmapClientOptionsShowAdRemainingTime(bool show) {
    vmapClientOptionsShowAdRemainingTime = show;
  }
  void setVmapClientOptionsShowAdBreakRemainingTime(bool show) {
    vmapClientOptionsShowAdBreakRemainingTime = show;
  }
  void setVmapClientOptionsShowNumberOfRemainingAds(bool show) {
    vmapClientOptionsShowNumberOfRemainingAds = show;
  }
};

}  // namespace skylark
