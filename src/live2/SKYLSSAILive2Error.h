#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/SKYLError.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

inline constexpr std::string_view kSKYLSSAILive2ErrorDomain = "SKYLSSAILive2ErrorDomain";

enum class SKYLSSAILive2ErrorCode : int64_t {
  NETWORK_ERROR = 0,
  INVALID_SESSION = 1,
  TIMEOUT_ERROR = 2,
  PARSE_ERROR = 3,
  SESSION_ERROR = 4,
  TRACKING_ERROR = 5,
};

// The code of a raw value; nothing outside 0 to 5.
std::optional<SKYLSSAILive2ErrorCode> SKYLSSAILive2ErrorCodeFromRaw(int64_t raw);
// "NETWORK_ERROR", "INVALID_SESSION", ...
std::string_view SKYLSSAILive2ErrorCodeName(SKYLSSAILive2ErrorCode code);

// The error every operation of the live path reports.
struct SKYLSSAILive2Error {
  SKYLSSAILive2ErrorCode code;
  std::string message;
  std::chrono::system_clock::time_point timestamp = std::chrono::system_clock::now();
  std::map<std::string, std::string> context;
  std::optional<SKYLError> underlying;

  SKYLSSAILive2Error(SKYLSSAILive2ErrorCode c, std::string m) : code(c), message(std::move(m)) {}

  // "CODE: message · context={...} · underlying=...", the last two parts
  // only when there is something to say.
  std::string description() const;
  // The platform error: domain "SKYLSSAILive2ErrorDomain", the code's raw
  // value, and user info with the description, "code", "message",
  // "timestamp", "context" and the underlying error.
  SKYLError toError() const;
};

}  // namespace skylark
