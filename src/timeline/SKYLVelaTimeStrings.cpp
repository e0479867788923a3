#include "timeline/SKYLVelaTimeStrings.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>

#include "platform/ASCIICase.h"
#include "platform/NumberParser.h"
#include "timeline/SKYLVelaLog.h"

namespace skylark {
namespace {

constexpr int32_t kTimescale = 600;
constexpr std::string_view kDurationCharacters = "0123456789.:+";
// No time string of an ad document comes near this; longer ones are refused
// before any parsing, and logged cut to this length.
constexpr size_t kMaxTimeStringLength = 64;

std::string loggable(std::string_view s) {
  if (s.size() <= kMaxTimeStringLength) return std::string(s);
  return std::string(s.substr(0, kMaxTimeStringLength)) + "...";
}

// How the rejecting character set prints in the log line: the set object
// itself, not the list of allowed characters.
struct DurationRejectSet {
  std::string description() const { return "<CharacterSet: inverted set of \"0123456789.:+\">"; }
};

// The three fields of "HH:MM:SS"; nothing unless there are exactly three.
std::optional<std::array<std::string_view, 3>> splitClock(std::string_view s) {
  const size_t first = s.find(':');
  if (first == std::string_view::npos) return std::nullopt;
  const size_t second = s.find(':', first + 1);
  if (second == std::string_view::npos || s.find(':', second + 1) != std::string_view::npos) {
    return std::nullopt;
  }
  return std::array{s.substr(0, first), s.substr(first + 1, second - first - 1),
                    s.substr(second + 1)};
}

// A component the formatter refuses counts as zero.
double componentValue(std::string_view component) {
  return NumberParser::decimalEnUS().parse(component).value_or(0.0);
}

double wholeComponentValue(std::string_view component) {
  const double v = componentValue(component);
  return v < 0 ? std::ceil(v) : std::floor(v);
}

// The code point starting at s[i] and its length in bytes; malformed bytes
// read as themselves, one at a time.
std::pair<char32_t, size_t> decodeAt(std::string_view s, size_t i) {
  const auto b0 = static_cast<unsigned char>(s[i]);
  auto cont = [&](size_t k) { return static_cast<unsigned char>(s[i + k]) & 0x3fu; };
  if (b0 < 0x80) return {b0, 1};
  if ((b0 & 0xe0) == 0xc0 && i + 1 < s.size()) return {((b0 & 0x1fu) << 6) | cont(1), 2};
  if ((b0 & 0xf0) == 0xe0 && i + 2 < s.size()) {
    return {((b0 & 0x0fu) << 12) | (cont(1) << 6) | cont(2), 3};
  }
  return {b0, 1};
}

bool isWhiteSpaceOrNewline(char32_t c) {
  return (c >= 0x09 && c <= 0x0d) || c == 0x20 || c == 0x85 || c == 0xa0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200a) || c == 0x2028 || c == 0x2029 || c == 0x202f || c == 0x205f ||
         c == 0x3000;
}

}  // namespace

MediaTime SKYLVelaDurationFromString(const std::optional<std::string_view>& string) {
  if (!string) {
    SKYLVelaLog("Could not parse duration `%@` (nil duration parameter).", nullptr);
    return MediaTime::invalid();
  }
  std::string_view s = *string;
  if (s.find_first_not_of(kDurationCharacters) != std::string_view::npos) {
    SKYLVelaLog(
        "Could not parse duration `%@` (must contain only characters from the character set "
        "`%@`).",
        loggable(s), DurationRejectSet{});
    return MediaTime::invalid();
  }
  if (s.size() > kMaxTimeStringLength) {
    SKYLVelaLog("Could not parse duration `%@` (missing hours, minutes, or seconds).", loggable(s));
    return MediaTime::invalid();
  }
  s = s.substr(0, s.find('+'));

  const auto clock = splitClock(s);
  if (!clock) {
    SKYLVelaLog(
        "Could not parse duration `%@` (must contain only hours, minutes, and seconds, separated "
        "by `:`).",
        s);
    return MediaTime::invalid();
  }
  const auto& parts = *clock;
  if (parts[0].size() != 2 || parts[1].size() != 2 || parts[2].size() < 2) {
    SKYLVelaLog("Could not parse duration `%@` (missing hours, minutes, or seconds).", s);
    return MediaTime::invalid();
  }
  const double hours = wholeComponentValue(parts[0]);
  const double minutes = wholeComponentValue(parts[1]);
  const double seconds = componentValue(parts[2]);
  return MediaTime::makeWithSeconds(hours * 3600 + minutes * 60 + seconds, kTimescale);
}

MediaTime SKYLVelaAdBreakTimeOffsetFromString(std::string_view string) {
  if (string.size() > kMaxTimeStringLength) return SKYLVelaDurationFromString(string);
  if (equalsIgnoringASCIICase(string, "start")) return MediaTime::zero();
  if (equalsIgnoringASCIICase(string, "end")) return MediaTime::positiveInfinity();
  return SKYLVelaDurationFromString(string);
}

MediaTime SKYLVelaSkipOffsetFromStringWithDuration(std::string_view string,
                                                   const MediaTime& duration) {
  if (const auto fraction = NumberParser::percentEnUS().parse(string)) {
    return multiplyByFloat64(duration, *fraction);
  }
  const MediaTime offset = SKYLVelaAdBreakTimeOffsetFromString(string);
  if (offset.isValid()) return offset;
  SKYLVelaLog(
      "Could not parse offset `%@` (must contain only characters from the character set "
      "`%%`).",
      loggable(string));
  return MediaTime::invalid();
}

bool SKYLVelaCMTimesWithinTolerance(const MediaTime& a, const MediaTime& b,
                                    const MediaTime& tolerance) {
  if (compare(a, b) == 0) return true;
  const bool aIsLess = compare(a, b) < 0;
  const MediaTime& hi = aIsLess ? b : a;
  const MediaTime& lo = aIsLess ? a : b;
  return compare(tolerance, hi - lo) > 0;
}

std::optional<std::string> SKYLTrimXMLStringValue(const std::optional<std::string_view>& string) {
  if (!string) return std::nullopt;
  return std::string(SKYLTrimmedXMLStringView(*string));
}

std::string_view SKYLTrimmedXMLStringView(std::string_view s) {
  size_t begin = 0;
  while (begin < s.size()) {
    const auto [c, length] = decodeAt(s, begin);
    if (!isWhiteSpaceOrNewline(c)) break;
    begin += length;
  }
  size_t end = s.size();
  while (end > begin) {
    size_t start = end - 1;
    while (start > begin && (static_cast<unsigned char>(s[start]) & 0xc0) == 0x80) --start;
    const auto [c, length] = decodeAt(s, start);
    if (length != end - start || !isWhiteSpaceOrNewline(c)) break;
    end = start;
  }
  return s.substr(begin, end - begin);
}

}  // namespace skylark
