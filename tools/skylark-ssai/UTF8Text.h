#pragma once

#include <string>
#include <string_view>

namespace skylark::tool {

// The text with every ill-formed UTF-8 sequence (a stray byte, a truncated
// or overlong sequence, a surrogate, a code point past U+10FFFF) replaced
// by U+FFFD, one for each maximal ill-formed part, as Unicode recommends.
// Documents and arguments reach the tool's output through it, so no byte
// they hold can make that output ill-formed.
std::string validUTF8(std::string_view text);

}  // namespace skylark::tool
