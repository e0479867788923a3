#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/URL.h"

namespace skylark {

class SKYLSSAILive2Timeline;

// What the playback session shows of the newer live path's ads. Immutable
// values made only by the coordinator.

struct SKYLSSAILive2CompanionInfo {
  std::string identifier;
  int64_t width = 0;
  int64_t height = 0;
  std::optional<URL> staticResource;
  std::string creativeType;
  std::optional<URL> clickThrough;
};

struct SKYLSSAILive2AdInfo {
  std::string adId;
  std::string title;
  double beginTime = 0;
  double duration = 0;
  bool isSlate = false;
  std::vector<std::string> clickthroughURLs;
  std::vector<std::string> clickTrackingURLs;
  std::vector<std::string> trackingURLs;
  // Of its tracking events, those of the impression type.
  std::vector<std::string> impressionURLs;
  std::vector<SKYLSSAILive2CompanionInfo> companions;

  double endTime() const { return beginTime + duration; }
};

// Where the playhead is within its break: the time left in the ad and in
// the whole break, and which presentable ad of how many (1-based).
struct SKYLSSAILive2AdCountdown {
  double remainingInCurrentAd = 0;
  double remainingInBreak = 0;
  int64_t adIndex = 0;
  int64_t adCount = 0;
};

struct SKYLSSAILive2VerificationInfo {
  std::string vendor;
  std::string apiFramework;
  bool browserOptional = false;
  URL resource;
  std::string verificationParameters;
};

// An opaque reference to a live timeline, handed back to SKYLSSAILive2OMID.
struct SKYLSSAILive2TimelineHandle {
  std::shared_ptr<const SKYLSSAILive2Timeline> timeline;
};

}  // namespace skylark
