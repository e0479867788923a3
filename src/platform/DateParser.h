#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

using SystemTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

// A fixed-pattern date reader over ICU: a string counts only when all of it
// parses. Times without a zone read as UTC. Created once, then read from
// any thread.
class DateParser {
 public:
  // An ICU pattern in a locale, e.g. ("en_US_POSIX", "yyyy-MM-dd'T'HH:mm:ssZ").
  static std::unique_ptr<DateParser> create(const char* locale, std::u16string_view pattern);

  std::optional<SystemTime> parse(std::string_view text) const;

  ~DateParser();
  DateParser(const DateParser&) = delete;
  DateParser& operator=(const DateParser&) = delete;

 private:
  struct Impl;
  explicit DateParser(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace skylark
