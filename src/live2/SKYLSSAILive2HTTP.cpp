#include "live2/SKYLSSAILive2HTTP.h"

namespace skylark {

std::optional<SKYLSSAILive2Error> SKYLSSAILive2CheckHTTPResponse(const HTTPURLResponse& response,
                                                                 const std::string& label,
                                                                 SKYLSSAILive2ErrorCode code) {
  if (response.statusCode == 0)
    return SKYLSSAILive2Error(code, label + " returned no HTTP response");
  if (response.statusCode >= 200 && response.statusCode <= 299) return std::nullopt;
  SKYLSSAILive2Error error(code,
                           label + " failed with HTTP " + std::to_string(response.statusCode));
  error.context["statusCode"] = std::to_string(response.statusCode);
  return error;
}

SKYLSSAILive2Error SKYLSSAILive2TransportError(const SKYLError& transport, std::string message) {
  SKYLSSAILive2Error error(isTimeoutError(transport) ? SKYLSSAILive2ErrorCode::TIMEOUT_ERROR
                                                     : SKYLSSAILive2ErrorCode::NETWORK_ERROR,
                           std::move(message));
  error.underlying = transport;
  return error;
}

}  // namespace skylark
