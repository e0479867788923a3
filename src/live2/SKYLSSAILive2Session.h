#pragma once

#include <map>
#include <string>
#include <string_view>

#include "live2/SKYLSSAILive2Error.h"
#include "platform/Result.h"
#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The body of the session-init POST:
// {"adsParams": {...}, "adSignaling": {"enabled": true}, "reportingMode": "server"}.
struct SKYLSSAILive2SessionRequest {
  std::map<std::string, std::string> adsParams;

  // PARSE_ERROR "Failed to build the session init body" when a parameter
  // is not valid UTF-8 (JSON cannot carry it).
  Result<std::string, SKYLSSAILive2Error> encode() const;
};

// The session-init answer as received.
struct SKYLSSAILive2SessionInfo {
  std::string manifestUrl;
  std::string trackingUrl;

  // PARSE_ERROR for a body that is not JSON or holds wrong types.
  static Result<SKYLSSAILive2SessionInfo, SKYLSSAILive2Error> decode(std::string_view json);
};

// The two addresses of a live session, absolute.
struct SKYLSSAILive2SessionURLs {
  URL manifest;
  URL tracking;

  // Resolves the answer's (possibly relative) URLs against the endpoint
  // posted to: INVALID_SESSION when one is missing or empty, PARSE_ERROR
  // when one cannot be made into a URL.
  static Result<SKYLSSAILive2SessionURLs, SKYLSSAILive2Error> resolve(
      const SKYLSSAILive2SessionInfo& info, const URL& endpoint);
};

}  // namespace skylark
