#include "UTF8Text.h"

#include <cstdint>

namespace skylark::tool {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// The length of the well-formed sequence at `at`, or 0 with `skip` set to
// how many bytes the ill-formed part spans.
size_t wellFormedLength(std::string_view text, size_t at, size_t& skip) {
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t lead = byte(at);
  size_t length = 0;
  uint8_t low = 0x80, high = 0xBF;  // the second byte's range
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;   // no overlong forms
    if (lead == 0xED) high = 0x9F;  // no surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;  // nothing past U+10FFFF
  } else {
    skip = 1;
    return 0;
  }
  for (size_t i = 1; i < length; ++i) {
    const bool inRange = at + i < text.size() && byte(at + i) >= (i == 1 ? low : 0x80) &&
                         byte(at + i) <= (i == 1 ? high : 0xBF);
    if (!inRange) {
      skip = i;
      return 0;
    }
  }
  return length;
}

}  // namespace

std::string validUTF8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  size_t at = 0;
  while (at < text.size()) {
    size_t skip = 0;
    const size_t length = wellFormedLength(text, at, skip);
    if (length > 0) {
      out.append(text.substr(at, length));
      at += length;
    } else {
      out.append(kReplacement);
      at += skip;
    }
  }
  return out;
}

}  // namespace skylark::tool
