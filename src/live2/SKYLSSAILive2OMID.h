#pragma once

#include <string>
#include <vector>

#include "live2/SKYLSSAILive2AdInfo.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The verification resources the open-measurement integration loads for a
// live ad.
class SKYLSSAILive2OMID {
 public:
  // One record per resource of each verification of the first timeline
  // entry with that ad id; resources whose URI is not a URL are skipped.
  static std::vector<SKYLSSAILive2VerificationInfo> verifications(
      const std::string& adId, const SKYLSSAILive2TimelineHandle& timeline);
};

}  // namespace skylark
