#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// ASCII case folding, for the protocol words of the formats read here (tag
// names, header names, URL schemes and hosts, event types); other bytes
// are compared as they are.
inline char toLowerASCII(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; }

inline bool equalsIgnoringASCIICase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return toLowerASCII(x) == toLowerASCII(y);
         });
}

inline std::string lowercaseASCII(std::string_view s) {
  std::string out(s);
  std::transform(out.begin(), out.end(), out.begin(), toLowerASCII);
  return out;
}

}  // namespace skylark
