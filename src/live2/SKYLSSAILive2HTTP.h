#pragma once

#include <optional>
#include <string>

#include "live2/SKYLSSAILive2Error.h"
#include "platform/URLSession.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The HTTP check shared by the live clients: "LABEL returned no HTTP
// response", or "LABEL failed with HTTP STATUS" with the "statusCode"
// context, both with the given code; nothing for a 2xx answer.
std::optional<SKYLSSAILive2Error> SKYLSSAILive2CheckHTTPResponse(const HTTPURLResponse& response,
                                                                 const std::string& label,
                                                                 SKYLSSAILive2ErrorCode code);

// A transport failure: TIMEOUT_ERROR for a time-out, else NETWORK_ERROR,
// with the transport error underneath.
SKYLSSAILive2Error SKYLSSAILive2TransportError(const SKYLError& transport, std::string message);

}  // namespace skylark
