#include "platform/NumberParser.h"

#include <charconv>
#include <cmath>
#include <string>

#include <unicode/unum.h>
#include <unicode/ustring.h>

#include "platform/UTF16.h"

namespace skylark {
namespace {

struct FormatDeleter {
  void operator()(UNumberFormat* format) const { unum_close(format); }
};

size_t digitsFrom(std::string_view text, size_t at) {
  size_t end = at;
  while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
  return end - at;
}

// Plain decimals ("42", "-0.25") are nearly every number of an ad
// document; both readers give them the same, correctly rounded value, and
// this one without converting to UTF-16 and through ICU.
std::optional<double> plainDecimal(std::string_view text) {
  size_t at = text[0] == '-' ? 1 : 0;
  const size_t whole = digitsFrom(text, at);
  if (whole == 0) return std::nullopt;
  at += whole;
  if (at < text.size() && text[at] == '.') {
    const size_t fraction = digitsFrom(text, at + 1);
    if (fraction == 0) return std::nullopt;
    at += 1 + fraction;
  }
  if (at != text.size()) return std::nullopt;
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// A plain decimal and a percent sign ("25%", "12.5%") as a fraction,
// rounded once, as the percent reader gives it.
std::optional<double> plainPercent(std::string_view text) {
  if (text.size() < 2 || text.back() != '%') return std::nullopt;
  const std::string_view number = text.substr(0, text.size() - 1);
  if (!plainDecimal(number)) return std::nullopt;
  const std::string scaled = std::string(number) + "e-2";
  double value = 0;
  const auto [end, error] = std::from_chars(scaled.data(), scaled.data() + scaled.size(), value);
  if (error != std::errc() || end != scaled.data() + scaled.size()) return std::nullopt;
  return value;
}

}  // namespace

struct NumberParser::Impl {
  std::unique_ptr<UNumberFormat, FormatDeleter> format;
  bool plainDecimals = false;  // a decimal reader: plainDecimal() may answer
  bool plainPercents = false;  // a percent reader: plainPercent() may answer
};

NumberParser::NumberParser(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
NumberParser::~NumberParser() = default;

const NumberParser& NumberParser::decimalEnUS() {
  // Never destroyed: a parse on another thread may run while the process exits.
  static const NumberParser& parser = *new NumberParser([] {
    UErrorCode status = U_ZERO_ERROR;
    auto impl = std::make_unique<Impl>();
    impl->format.reset(unum_open(UNUM_DECIMAL, nullptr, 0, "en_US", nullptr, &status));
    if (U_SUCCESS(status)) unum_setAttribute(impl->format.get(), UNUM_GROUPING_USED, 0);
    impl->plainDecimals = true;
    return NumberParser(std::move(impl));
  }());
  return parser;
}

const NumberParser& NumberParser::decimalStyleEnUS() {
  // Never destroyed: a parse on another thread may run while the process exits.
  static const NumberParser& parser = *new NumberParser([] {
    UErrorCode status = U_ZERO_ERROR;
    auto impl = std::make_unique<Impl>();
    impl->format.reset(unum_open(UNUM_DECIMAL, nullptr, 0, "en_US", nullptr, &status));
    impl->plainDecimals = true;
    return NumberParser(std::move(impl));
  }());
  return parser;
}

const NumberParser& NumberParser::percentEnUS() {
  // Never destroyed: a parse on another thread may run while the process exits.
  static const NumberParser& parser = *new NumberParser([] {
    UErrorCode status = U_ZERO_ERROR;
    auto impl = std::make_unique<Impl>();
    impl->format.reset(unum_open(UNUM_PERCENT, nullptr, 0, "en_US", nullptr, &status));
    impl->plainPercents = true;
    return NumberParser(std::move(impl));
  }());
  return parser;
}

std::optional<double> NumberParser::parse(std::string_view text) const {
  if (!impl_->format || text.empty() || text.size() > kMaxLength) return std::nullopt;
  if (impl_->plainDecimals) {
    if (const auto value = plainDecimal(text)) return value;
  }
  if (impl_->plainPercents) {
    if (const auto value = plainPercent(text)) return value;
  }
  const auto utf16 = toUTF16(text);
  if (!utf16) return std::nullopt;
  const auto length = static_cast<int32_t>(utf16->size());
  int32_t position = 0;
  UErrorCode status = U_ZERO_ERROR;
  const double value =
      unum_parseDouble(impl_->format.get(), reinterpret_cast<const UChar*>(utf16->data()), length,
                       &position, &status);
  if (U_FAILURE(status) || position != length || !std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace skylark
