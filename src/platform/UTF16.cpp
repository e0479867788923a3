#include "platform/UTF16.h"

#include <climits>

#include <unicode/ustring.h>

namespace skylark {

std::optional<std::u16string> toUTF16(std::string_view text) {
  if (text.size() > static_cast<size_t>(INT32_MAX) / 2) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = 0;
  u_strFromUTF8(nullptr, 0, &length, text.data(), static_cast<int32_t>(text.size()), &status);
  if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return std::nullopt;
  std::u16string out(static_cast<size_t>(length), u'\0');
  status = U_ZERO_ERROR;
  u_strFromUTF8(reinterpret_cast<UChar*>(out.data()), length, nullptr, text.data(),
                static_cast<int32_t>(text.size()), &status);
  if (U_FAILURE(status)) return std::nullopt;
  return out;
}

std::string toUTF8(std::u16string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = 0;
  const auto* source = reinterpret_cast<const UChar*>(text.data());
  const auto sourceLength = static_cast<int32_t>(text.size());
  u_strToUTF8WithSub(nullptr, 0, &length, source, sourceLength, 0xfffd, nullptr, &status);
  if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return {};
  std::string out(static_cast<size_t>(length), '\0');
  status = U_ZERO_ERROR;
  u_strToUTF8WithSub(out.data(), length, nullptr, source, sourceLength, 0xfffd, nullptr, &status);
  return U_SUCCESS(status) ? out : std::string();
}

}  // namespace skylark
