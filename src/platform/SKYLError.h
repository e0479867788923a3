#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The platform's error object: a domain, an integer code and user info.
// Errors are values; an underlying error is shared, never owned twice.
struct SKYLError {
  std::string domain;
  int64_t code = 0;
  std::string localizedDescription;
  std::optional<std::string> failureReason;
  std::optional<std::string> recoverySuggestion;
  std::shared_ptr<const SKYLError> underlyingError;
  // Further user-info entries, by key.
  std::map<std::string, std::string> userInfo;

  SKYLError() = default;
  SKYLError(std::string domain, int64_t code, std::string localizedDescription = {})
      : domain(std::move(domain)),
        code(code),
        localizedDescription(std::move(localizedDescription)) {}

  SKYLError& withFailureReason(std::string reason);
  SKYLError& withRecoverySuggestion(std::string suggestion);
  SKYLError& withUnderlyingError(SKYLError underlying);
  SKYLError& withUserInfo(std::string key, std::string value);

  // "Error Domain=DOMAIN Code=CODE "DESCRIPTION"".
  std::string description() const;
};

bool operator==(const SKYLError& a, const SKYLError& b);

}  // namespace skylark
