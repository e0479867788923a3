#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace skylark {

// UTF-8 to UTF-16 for ICU; nothing for ill-formed input or input too large
// for ICU's 32-bit lengths.
std::optional<std::u16string> toUTF16(std::string_view text);

// UTF-16 back to UTF-8 (ill-formed units become U+FFFD).
std::string toUTF8(std::u16string_view text);

}  // namespace skylark
