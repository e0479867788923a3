#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A locale-fixed number reader over ICU. A string counts only when all of it
// parses: "12abc", "" and "." give nothing; nor do "NaN", infinities, or
// text longer than kMaxLength (no real number in an ad document is). Each shared parser is created
// once and may then be read from any thread.
class NumberParser {
 public:
  // "en_US" decimal: "." is the decimal separator, no grouping.
  static const NumberParser& decimalEnUS();
  // "en_US" decimal style: as above, and "1,000" reads 1000.
  static const NumberParser& decimalStyleEnUS();
  // "en_US" percent: "25%" reads 0.25.
  static const NumberParser& percentEnUS();

  static constexpr size_t kMaxLength = 64;

  std::optional<double> parse(std::string_view text) const;

  ~NumberParser();
  NumberParser(const NumberParser&) = delete;
  NumberParser& operator=(const NumberParser&) = delete;

 private:
  struct Impl;
  explicit NumberParser(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace skylark
