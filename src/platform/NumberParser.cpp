#include "platform/NumberParser.h"

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

}  // namespace

struct NumberParser::Impl {
  std::unique_ptr<UNumberFormat, FormatDeleter> format;
};

NumberParser::NumberParser(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
NumberParser::~NumberParser() = default;

const NumberParser& NumberParser::decimalEnUS() {
  static const NumberParser parser = [] {
    UErrorCode status = U_ZERO_ERROR;
    auto impl = std::make_unique<Impl>();
    impl->format.reset(unum_open(UNUM_DECIMAL, nullptr, 0, "en_US", nullptr, &status));
    if (U_SUCCESS(status)) unum_setAttribute(impl->format.get(), UNUM_GROUPING_USED, 0);
    return NumberParser(std::move(impl));
  }();
  return parser;
}

const NumberParser& NumberParser::decimalStyleEnUS() {
  static const NumberParser parser = [] {
    UErrorCode status = U_ZERO_ERROR;
    auto impl = std::make_unique<Impl>();
    impl->format.reset(unum_open(UNUM_DECIMAL, nullptr, 0, "en_US", nullptr, &status));
    return NumberParser(std::move(impl));
  }();
  return parser;
}

const NumberParser& NumberParser::percentEnUS() {
  static const NumberParser parser = [] {
    UErrorCode status = U_ZERO_ERROR;
    auto impl = std::make_unique<Impl>();
    impl->format.reset(unum_open(UNUM_PERCENT, nullptr, 0, "en_US", nullptr, &status));
    return NumberParser(std::move(impl));
  }();
  return parser;
}

std::optional<double> NumberParser::parse(std::string_view text) const {
  if (!impl_->format || text.empty() || text.size() > kMaxLength) return std::nullopt;
  const auto utf16 = toUTF16(text);
  if (!utf16) return std::nullopt;
  const auto length = static_cast<int32_t>(utf16->size());
  int32_t position = 0;
  UErrorCode status = U_ZERO_ERROR;
  const double value = unum_parseDouble(impl_->format.get(),
                                        reinterpret_cast<const UChar*>(utf16->data()), length,
                                        &position, &status);
  if (U_FAILURE(status) || position != length || !std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace skylark
