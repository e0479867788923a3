#include "platform/DateParser.h"

#include <cmath>

#include <string>

#include <unicode/udat.h>
#include <unicode/ustring.h>

#include "platform/UTF16.h"

namespace skylark {

struct DateParser::Impl {
  UDateFormat* format = nullptr;
  ~Impl() {
    if (format) udat_close(format);
  }
};

DateParser::DateParser(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
DateParser::~DateParser() = default;

std::unique_ptr<DateParser> DateParser::create(const char* locale, std::u16string_view pattern) {
  auto impl = std::make_unique<Impl>();
  UErrorCode status = U_ZERO_ERROR;
  static const UChar kUTC[] = u"UTC";
  impl->format = udat_open(UDAT_PATTERN, UDAT_PATTERN, locale, kUTC, -1,
                           reinterpret_cast<const UChar*>(pattern.data()),
                           static_cast<int32_t>(pattern.size()), &status);
  if (U_FAILURE(status)) return nullptr;
  udat_setLenient(impl->format, false);
  return std::unique_ptr<DateParser>(new DateParser(std::move(impl)));
}

std::optional<SystemTime> DateParser::parse(std::string_view text) const {
  if (text.empty()) return std::nullopt;
  const auto utf16 = toUTF16(text);
  if (!utf16) return std::nullopt;
  const auto length = static_cast<int32_t>(utf16->size());
  int32_t position = 0;
  UErrorCode status = U_ZERO_ERROR;
  const UDate millis = udat_parse(impl_->format, reinterpret_cast<const UChar*>(utf16->data()),
                                  length, &position, &status);
  // Years 0 to 9999 only: anything further would overflow date arithmetic.
  constexpr double kLimitMillis = 253402300800000.0;
  if (U_FAILURE(status) || position != length || !std::isfinite(millis) ||
      std::fabs(millis) > kLimitMillis) {
    return std::nullopt;
  }
  return SystemTime(std::chrono::milliseconds(static_cast<int64_t>(millis)));
}

}  // namespace skylark
