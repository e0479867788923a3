#include "live2/SKYLSSAILive2Time.h"

#include <charconv>
#include <memory>
#include <string>

namespace skylark {

std::optional<double> SKYLSSAILive2ParseTimeDuration(std::string_view text) {
  if (text.size() <= 2 || text.substr(0, 2) != "PT") return std::nullopt;
  double total = 0;
  std::string buffer;
  for (const char c : text.substr(2)) {
    if ((c >= '0' && c <= '9') || c == '.') {
      buffer += c;
      continue;
    }
    // The buffer must read fully as a plain decimal number.
    double value = 0;
    const auto [end, error] = std::from_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                              std::chars_format::fixed);
    if (buffer.empty() || error != std::errc() || end != buffer.data() + buffer.size()) {
      return std::nullopt;
    }
    switch (c) {
      case 'H':
        total += value * 3600;
        break;
      case 'M':
        total += value * 60;
        break;
      case 'S':
        total += value;
        break;
      default:
        return std::nullopt;
    }
    buffer.clear();
  }
  if (!buffer.empty()) return std::nullopt;
  return total;
}

std::optional<SystemTime> SKYLSSAILive2ParseProgramDateTime(std::string_view text) {
  // Made once, shared by every thread, never destroyed (a poll may still
  // run while the process exits).
  static const auto* withFraction =
      DateParser::create("en_US_POSIX", u"yyyy-MM-dd'T'HH:mm:ss.SSSXXXXX").release();
  static const auto* withoutFraction =
      DateParser::create("en_US_POSIX", u"yyyy-MM-dd'T'HH:mm:ssXXXXX").release();
  if (withFraction) {
    if (auto date = withFraction->parse(text)) return date;
  }
  return withoutFraction ? withoutFraction->parse(text) : std::nullopt;
}

}  // namespace skylark
