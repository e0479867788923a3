#pragma once

#include <string>
#include <string_view>

#include "UTF8Text.h"

namespace skylark::tool {

// Text made safe for XML character data and attribute values: the markup
// characters escaped, ill-formed UTF-8 and the control characters XML 1.0
// forbids replaced by U+FFFD, so the document stays well-formed.
inline std::string xmlEscaped(std::string_view text) {
  const std::string valid = validUTF8(text);
  std::string out;
  out.reserve(valid.size());
  for (const char c : valid) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\t':
      case '\n':
      case '\r':
        out += c;
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          out += "\xEF\xBF\xBD";
        } else {
          out += c;
        }
    }
  }
  return out;
}

}  // namespace skylark::tool
