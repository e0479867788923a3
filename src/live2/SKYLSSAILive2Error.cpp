#include "live2/SKYLSSAILive2Error.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace skylark {
namespace {

std::string printed(const std::map<std::string, std::string>& context) {
  std::string out = "[";
  bool first = true;
  for (const auto& [key, value] : context) {
    if (!first) out += ", ";
    out += "\"" + key + "\": \"" + value + "\"";
    first = false;
  }
  return out + "]";
}

}  // namespace

std::optional<SKYLSSAILive2ErrorCode> SKYLSSAILive2ErrorCodeFromRaw(int64_t raw) {
  if (raw < 0 || raw > 5) return std::nullopt;
  return static_cast<SKYLSSAILive2ErrorCode>(raw);
}

std::string_view SKYLSSAILive2ErrorCodeName(SKYLSSAILive2ErrorCode code) {
  switch (code) {
    case SKYLSSAILive2ErrorCode::NETWORK_ERROR:
      return "NETWORK_ERROR";
    case SKYLSSAILive2ErrorCode::INVALID_SESSION:
      return "INVALID_SESSION";
    case SKYLSSAILive2ErrorCode::TIMEOUT_ERROR:
      return "TIMEOUT_ERROR";
    case SKYLSSAILive2ErrorCode::PARSE_ERROR:
      return "PARSE_ERROR";
    case SKYLSSAILive2ErrorCode::SESSION_ERROR:
      return "SESSION_ERROR";
    case SKYLSSAILive2ErrorCode::TRACKING_ERROR:
      return "TRACKING_ERROR";
  }
  return "";
}

std::string SKYLSSAILive2Error::description() const {
  std::string out = std::string(SKYLSSAILive2ErrorCodeName(code)) + ": " + message;
  if (!context.empty()) out += " \u00b7 context=" + printed(context);
  if (underlying) out += " \u00b7 underlying=" + underlying->description();
  return out;
}

SKYLError SKYLSSAILive2Error::toError() const {
  SKYLError error(std::string(kSKYLSSAILive2ErrorDomain), static_cast<int64_t>(code), message);
  error.withUserInfo("code", std::string(SKYLSSAILive2ErrorCodeName(code)));
  error.withUserInfo("message", message);
  error.withUserInfo("timestamp",
                     fmt::format("{:%Y-%m-%dT%H:%M:%SZ}",
                                 fmt::gmtime(std::chrono::system_clock::to_time_t(timestamp))));
  error.withUserInfo("context", printed(context));
  if (underlying) error.withUnderlyingError(*underlying);
  return error;
}

}  // namespace skylark
