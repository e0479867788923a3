#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/StringFormat.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Helpers for the "<Class: 0x...; field = value; ...>" descriptions that
// model objects give for logs.

// "<ClassName: 0x...;"
inline std::string descriptionHeader(std::string_view className, const void* self) {
  return std::string("<").append(className).append(": ").append(addressString(self)).append(";");
}

inline std::string describe(const std::string& s) { return s; }
inline std::string describe(bool b) { return b ? "YES" : "NO"; }
template <typename T>
requires requires(const T& t) { t.description(); }
std::string describe(const T& value) { return value.description(); }
template <typename T>
std::string describe(const std::shared_ptr<T>& p) {
  return p ? describe(*p) : "(null)";
}
template <typename T>
std::string describe(const std::optional<T>& maybe) {
  return maybe ? describe(*maybe) : "(null)";
}

// "(a, b, c)", each element described.
template <typename Range>
std::string describeList(const Range& items) {
  std::string out = "(";
  bool first = true;
  for (const auto& item : items) {
    if (!first) out += ", ";
    out += describe(item);
    first = false;
  }
  return out + ")";
}

}  // namespace skylark
