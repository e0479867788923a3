#include "tracking/VASTMacros.h"

#include <chrono>
#include <cmath>

#include <fmt/format.h>

#include "platform/PercentEncoding.h"

namespace skylark {
namespace {

bool isMacroNameCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

std::optional<std::string> valueOf(std::string_view name, const VASTMacroValues& values) {
  const auto playhead = [](const std::optional<MediaTime>& time) -> std::optional<std::string> {
    if (!time || !time->isNumeric()) return std::nullopt;
    return vastPlayhead(*time);
  };
  const auto number = [](const std::optional<int>& n) -> std::optional<std::string> {
    if (!n) return std::nullopt;
    return std::to_string(*n);
  };
  if (name == "CACHEBUSTING") return values.cacheBusting;
  if (name == "TIMESTAMP") {
    if (!values.timestamp) return std::nullopt;
    return vastTimestamp(*values.timestamp);
  }
  if (name == "CONTENTPLAYHEAD") return playhead(values.contentPlayhead);
  if (name == "MEDIAPLAYHEAD") return playhead(values.mediaPlayhead);
  if (name == "ADPLAYHEAD") return playhead(values.adPlayhead);
  if (name == "BREAKPOSITION") return number(values.breakPosition);
  if (name == "PODSEQUENCE") return number(values.podSequence);
  if (name == "ADCOUNT") return number(values.adCount);
  if (name == "ASSETURI") return values.assetURI;
  return std::nullopt;
}

// The length of the macro name (a capital, then capitals, digits and
// underscores) that starts at `from` and is closed by `close`, or 0 when
// there is none: "a[0]=1" holds no macro.
size_t macroNameLength(std::string_view text, size_t from, std::string_view close) {
  if (from >= text.size() || text[from] < 'A' || text[from] > 'Z') return 0;
  size_t end = from;
  while (end < text.size() && isMacroNameCharacter(text[end])) ++end;
  if (end == from || text.substr(end, close.size()) != close) return 0;
  return end - from;
}

}  // namespace

std::string expandVASTMacros(std::string_view text, const VASTMacroValues& values) {
  std::string expanded;
  expanded.reserve(text.size());
  size_t i = 0;
  while (i < text.size()) {
    std::string_view open;
    std::string_view close;
    if (text[i] == '[') {
      open = "[", close = "]";
    } else if (text.substr(i, 2) == "%%") {
      open = "%%", close = "%%";
    }
    const size_t length = open.empty() ? 0 : macroNameLength(text, i + open.size(), close);
    if (length == 0) {
      expanded += text[i++];
      continue;
    }
    const auto value = valueOf(text.substr(i + open.size(), length), values);
    expanded += value ? percentEncodedComponent(*value) : "-1";
    i += open.size() + length + close.size();
  }
  return expanded;
}

std::string vastPlayhead(const MediaTime& time) {
  const double seconds = std::max(0.0, time.seconds());
  const auto milliseconds = static_cast<int64_t>(std::llround(seconds * 1000));
  return fmt::format("{:02}:{:02}:{:02}.{:03}", milliseconds / 3'600'000,
                     milliseconds / 60'000 % 60, milliseconds / 1000 % 60, milliseconds % 1000);
}

std::string vastTimestamp(SystemTime time) {
  const auto days = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date{days};
  const std::chrono::hh_mm_ss clock{time - days};
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}+00:00",
                     static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                     static_cast<unsigned>(date.day()), clock.hours().count(),
                     clock.minutes().count(), clock.seconds().count(), clock.subseconds().count());
}

}  // namespace skylark
