#include "platform/SKYLError.h"

#include <fmt/format.h>

namespace skylark {

SKYLError& SKYLError::withFailureReason(std::string reason) {
  failureReason = std::move(reason);
  return *this;
}

SKYLError& SKYLError::withRecoverySuggestion(std::string suggestion) {
  recoverySuggestion = std::move(suggestion);
  return *this;
}

SKYLError& SKYLError::withUnderlyingError(SKYLError underlying) {
  underlyingError = std::make_shared<const SKYLError>(std::move(underlying));
  return *this;
}

SKYLError& SKYLError::withUserInfo(std::string key, std::string value) {
  userInfo[std::move(key)] = std::move(value);
  return *this;
}

std::string SKYLError::description() const {
  return fmt::format("Error Domain={} Code={} \"{}\"", domain, code, localizedDescription);
}

bool operator==(const SKYLError& a, const SKYLError& b) {
  const bool underlyingEqual =
      (a.underlyingError == nullptr) == (b.underlyingError == nullptr) &&
      (a.underlyingError == nullptr || *a.underlyingError == *b.underlyingError);
  return a.domain == b.domain && a.code == b.code &&
         a.localizedDescription == b.localizedDescription && a.failureReason == b.failureReason &&
         a.recoverySuggestion == b.recoverySuggestion && underlyingEqual &&
         a.userInfo == b.userInfo;
}

}  // namespace skylark
