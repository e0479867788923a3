#pragma once

#include <string>
#include <string_view>

namespace skylark {

// A value made fit to stand in a query or a path segment (RFC 3986): the
// unreserved characters stay, every other byte becomes %XX.
std::string percentEncodedComponent(std::string_view value);

}  // namespace skylark
