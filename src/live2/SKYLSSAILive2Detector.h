#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

enum class SKYLSSAILive2DetectionRule : int64_t {
  hostnameOnly = 0,     // the source is on a live SSAI endpoint host
  tokenOnly = 1,        // the playback token is shaped like a JSON Web Token
  hostnameOrToken = 2,  // either
};

// Production and QA endpoint hosts of the live SSAI service ("Meridian Live").
inline constexpr const char* kSKYLSSAILive2ProductionHost = "meridian.skylark-ssai.net";
inline constexpr const char* kSKYLSSAILive2QAHost = "meridian-qa.skylark-ssai.net";

// Tells whether a source belongs to the newer live SSAI service.
class SKYLSSAILive2Detector {
 public:
  static bool isLive2(const std::optional<URL>& sourceURL,
                      const std::optional<std::string>& playbackToken,
                      SKYLSSAILive2DetectionRule rule);
  static bool isLive2(const std::optional<URL>& sourceURL,
                      const std::optional<std::string>& playbackToken) {
    return isLive2(sourceURL, playbackToken, defaultRule());
  }
  // The host, any case, is exactly one of the endpoint hosts.
  static bool matchesHostname(const std::optional<URL>& url);
  // "eyJ..." with exactly three "."-separated pieces; nothing is decoded.
  static bool isJWTShaped(const std::optional<std::string>& token);
  // A source of the older VMAP-based live service ("_ssaiM" in its URL).
  static bool isLegacyVela(const std::optional<URL>& url);
  static SKYLSSAILive2DetectionRule defaultRule() {
    return SKYLSSAILive2DetectionRule::hostnameOrToken;
  }

  // Replaces the endpoint pair (an application on another deployment);
  // process-wide.
  static void setEndpointHosts(std::string production, std::string qa);
  static std::pair<std::string, std::string> endpointHosts();
};

}  // namespace skylark
