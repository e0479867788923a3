#pragma once

// How the platform reads numbers and booleans out of document text; shared
// by the document parsers (not installed API).

#include <cctype>
#include <cstdint>
#include <string_view>

namespace skylark::vmap_detail {

// Leading white space, a sign and digits; 0 when there are none ("REQUIRED").
inline int64_t integerValue(std::string_view s) {
  size_t i = 0;
  while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
  bool negative = false;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
  int64_t value = 0;
  for (; i < s.size() && std::isdigit(static_cast<unsigned char>(s[i])); ++i) {
    if (value > (INT64_MAX - 9) / 10) break;
    value = value * 10 + (s[i] - '0');
  }
  return negative ? -value : value;
}

// "true", "YES", "1"... as the platform reads a boolean string.
inline bool boolValue(std::string_view s) {
  size_t i = 0;
  while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
  while (i < s.size() && s[i] == '0') ++i;
  if (i == s.size()) return false;
  const char c = s[i];
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

}  // namespace skylark::vmap_detail
