#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

struct URLQueryItem {
  std::string name;
  std::optional<std::string> value;  // absent for "?flag", empty for "?flag="
  bool operator==(const URLQueryItem&) const = default;
};

// A URL value: the text as given (beacons are sent byte for byte as the
// document wrote them), checked and taken apart with libcurl's URL API.
// Either absolute (it has a scheme) or a relative reference, which has no
// scheme and no host until resolved against a base.
class URL {
 public:
  // Nothing for text that is not a URL: empty, white space, control or
  // non-ASCII characters, any of <>"{}|\^` or a malformed authority.
  static std::optional<URL> parse(std::string_view text);
  // As parse, after percent-encoding (RFC 3986) every byte that may not
  // stand in a URL: unreserved and reserved characters and well-formed
  // "%XX" escapes are kept, anything else (spaces, quotes, braces, new
  // lines, non-ASCII bytes) becomes %XX. For texts built from parts that a
  // URL cannot carry as they are, such as verification parameters.
  static std::optional<URL> parseEncodingInvalidCharacters(std::string_view text);
  // The reference resolved against base (RFC 3986), or nothing when either
  // is unusable. An absolute reference resolves to itself.
  static std::optional<URL> resolve(std::string_view reference, const URL& base);

  const std::string& absoluteString() const { return text_; }
  bool isRelative() const { return schemeLength_ == 0; }
  // Lower-case; empty for a relative reference.
  std::string scheme() const;
  // Empty for a relative reference (taken apart on each call).
  std::string host() const;
  std::optional<std::string> query() const;
  // The query's items, percent-decoded, in order.
  std::vector<URLQueryItem> queryItems() const;
  bool isHTTPOrHTTPS() const;

  std::string description() const { return text_; }
  size_t hash() const;
  bool operator==(const URL& other) const { return text_ == other.text_; }

 private:
  URL(std::string text, size_t schemeLength)
      : text_(std::move(text)), schemeLength_(static_cast<uint32_t>(schemeLength)) {}

  std::string text_;
  // The scheme is the text before its first colon; none (0) for a
  // relative reference.
  uint32_t schemeLength_;
};

}  // namespace skylark
