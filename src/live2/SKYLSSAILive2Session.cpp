#include "live2/SKYLSSAILive2Session.h"

#include "live2/JSONFields.h"

namespace skylark {

using live2_json::Json;

Result<std::string, SKYLSSAILive2Error> SKYLSSAILive2SessionRequest::encode() const {
  Json adsParamsJSON = Json::object();
  for (const auto& [key, value] : adsParams) adsParamsJSON[key] = value;
  const Json body = {{"adsParams", adsParamsJSON},
                     {"adSignaling", {{"enabled", true}}},
                     {"reportingMode", "server"}};
  try {
    return body.dump();
  } catch (const Json::exception&) {
    return SKYLSSAILive2Error(SKYLSSAILive2ErrorCode::PARSE_ERROR,
                              "Failed to build the session init body");
  }
}

Result<SKYLSSAILive2SessionInfo, SKYLSSAILive2Error> SKYLSSAILive2SessionInfo::decode(
    std::string_view json) {
  // The decoding error itself, which the session client carries as the
  // underlying error of its "Failed to parse session response".
  const auto document = live2_json::parse(json);
  if (!document) {
    return SKYLSSAILive2Error(SKYLSSAILive2ErrorCode::PARSE_ERROR,
                              "The session response is not JSON");
  }
  try {
    const Json& o = live2_json::object(*document);
    return SKYLSSAILive2SessionInfo{live2_json::string(o, "manifestUrl"),
                                    live2_json::string(o, "trackingUrl")};
  } catch (const live2_json::WrongType&) {
    return SKYLSSAILive2Error(SKYLSSAILive2ErrorCode::PARSE_ERROR,
                              "The session response is not an object whose manifestUrl and "
                              "trackingUrl are strings");
  }
}

Result<SKYLSSAILive2SessionURLs, SKYLSSAILive2Error> SKYLSSAILive2SessionURLs::resolve(
    const SKYLSSAILive2SessionInfo& info, const URL& endpoint) {
  if (info.manifestUrl.empty() || info.trackingUrl.empty()) {
    return SKYLSSAILive2Error(SKYLSSAILive2ErrorCode::INVALID_SESSION,
                              "Session response missing manifestUrl or trackingUrl");
  }
  auto manifest = URL::resolve(info.manifestUrl, endpoint);
  auto tracking = URL::resolve(info.trackingUrl, endpoint);
  // A player must never be told to open a local file or another protocol.
  if (!manifest || !tracking || !manifest->isHTTPOrHTTPS() || !tracking->isHTTPOrHTTPS()) {
    return SKYLSSAILive2Error(SKYLSSAILive2ErrorCode::PARSE_ERROR,
                              "Failed to resolve session response URLs");
  }
  return SKYLSSAILive2SessionURLs{std::move(*manifest), std::move(*tracking)};
}

}  // namespace skylark
