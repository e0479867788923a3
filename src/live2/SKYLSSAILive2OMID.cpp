#include "live2/SKYLSSAILive2OMID.h"

#include "live2/SKYLSSAILive2Timeline.h"

namespace skylark {

std::vector<SKYLSSAILive2VerificationInfo> SKYLSSAILive2OMID::verifications(
    const std::string& adId, const SKYLSSAILive2TimelineHandle& timeline) {
  std::vector<SKYLSSAILive2VerificationInfo> infos;
  if (!timeline.timeline) return infos;
  const auto snapshot = timeline.timeline->snapshot();
  for (const auto& entry : snapshot->entries) {
    if (entry.adId != adId) continue;
    if (!entry.ad) return infos;
    for (const auto& verification : entry.ad->adVerifications) {
      for (const auto& resource : verification.resources) {
        auto url = URL::parse(resource.uri);
        if (!url || url->isRelative()) continue;
        infos.push_back({verification.vendor, resource.apiFramework.value_or(""),
                         resource.browserOptional.value_or(false), std::move(*url),
                         verification.verificationParameters});
      }
    }
    return infos;
  }
  return infos;
}

}  // namespace skylark
