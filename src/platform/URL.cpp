#include "platform/URL.h"

#include "platform/ASCIICase.h"
#include "platform/PercentEncoding.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory>

#include <curl/curl.h>

namespace skylark {
namespace {

struct CurlURLDeleter {
  void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
};
using CurlURL = std::unique_ptr<CURLU, CurlURLDeleter>;

struct CurlStringDeleter {
  void operator()(char* s) const { curl_free(s); }
};

// Any scheme is a URL; whether it may be fetched is the caller's question.
constexpr unsigned kParseFlags = CURLU_NON_SUPPORT_SCHEME;

// Bytes a URL may hold as they are: printable ASCII but for <>"{}|\^`.
constexpr std::array<bool, 256> kURLCharacters = [] {
  std::array<bool, 256> allowed{};
  for (int c = 0x21; c < 0x7f; ++c) allowed[c] = true;
  for (const char c : std::string_view("<>\"{}|\\^`"))
    allowed[static_cast<unsigned char>(c)] = false;
  return allowed;
}();

bool hasOnlyURLCharacters(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return kURLCharacters[static_cast<unsigned char>(c)]; });
}

std::string part(const CurlURL& handle, CURLUPart which) {
  char* raw = nullptr;
  if (curl_url_get(handle.get(), which, &raw, 0) != CURLUE_OK || raw == nullptr) return {};
  std::unique_ptr<char, CurlStringDeleter> owned(raw);
  return std::string(raw);
}

// ASCII letters and digits, whatever the C library's locale.
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isAlphanumeric(char c) { return isLetter(c) || (c >= '0' && c <= '9'); }

// True when text starts with "scheme:" (RFC 3986 scheme characters).
bool hasScheme(std::string_view text) {
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos || colon == 0) return false;
  if (!isLetter(text[0])) return false;
  return std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon),
                     [](char c) { return isAlphanumeric(c) || c == '+' || c == '-' || c == '.'; });
}

std::string percentDecode(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  auto hex = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '%' && i + 2 < s.size() && hex(s[i + 1]) >= 0 && hex(s[i + 2]) >= 0) {
      out += static_cast<char>(hex(s[i + 1]) * 16 + hex(s[i + 2]));
      i += 2;
    } else {
      out += s[i];
    }
  }
  return out;
}

// The scheme's length when the text is an http(s) URL with a plain host
// name (letters, digits, dots and hyphens; alphanumeric at both ends) and
// at most a port of 1 to 65535, followed by nothing or by a path, query or
// fragment; 0 otherwise. libcurl accepts every such text (whose characters
// hasOnlyURLCharacters has checked), so beacons, nearly all of them of this
// form, need not go through it.
size_t plainHTTPSchemeLength(std::string_view text) {
  size_t at = 0;
  if (text.size() > 7 && equalsIgnoringASCIICase(text.substr(0, 7), "http://")) {
    at = 7;
  } else if (text.size() > 8 && equalsIgnoringASCIICase(text.substr(0, 8), "https://")) {
    at = 8;
  } else {
    return 0;
  }
  const size_t schemeLength = at - 3;
  const size_t hostStart = at;
  while (at < text.size() && (isAlphanumeric(text[at]) || text[at] == '.' || text[at] == '-')) ++at;
  if (at == hostStart || !isAlphanumeric(text[hostStart]) || !isAlphanumeric(text[at - 1]))
    return 0;
  if (at < text.size() && text[at] == ':') {
    const size_t portStart = ++at;
    long port = 0;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9' && at - portStart < 5) {
      port = port * 10 + (text[at++] - '0');
    }
    if (at == portStart || port < 1 || port > 65535) return 0;
  }
  if (at < text.size() && text[at] != '/' && text[at] != '?' && text[at] != '#') return 0;
  return schemeLength;
}

}  // namespace

std::optional<URL> URL::parse(std::string_view text) {
  if (text.empty() || !hasOnlyURLCharacters(text)) return std::nullopt;
  if (const size_t schemeLength = plainHTTPSchemeLength(text)) {
    return URL(std::string(text), schemeLength);
  }
  CurlURL handle(curl_url());
  if (!handle) return std::nullopt;
  std::string owned(text);
  if (hasScheme(text)) {
    if (curl_url_set(handle.get(), CURLUPART_URL, owned.c_str(), kParseFlags) != CURLUE_OK) {
      return std::nullopt;
    }
    const size_t schemeLength = owned.find(':');
    return URL(std::move(owned), schemeLength);
  }
  // A relative reference: well-formed when it resolves against a neutral base.
  if (curl_url_set(handle.get(), CURLUPART_URL, "http://relative.invalid/", 0) != CURLUE_OK ||
      curl_url_set(handle.get(), CURLUPART_URL, owned.c_str(), kParseFlags) != CURLUE_OK) {
    return std::nullopt;
  }
  return URL(std::move(owned), 0);
}

namespace {

bool isHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isKeptInURL(char c) {
  return isAlphanumeric(c) ||
         std::string_view("-._~:/?#[]@!$&'()*+,;=").find(c) != std::string_view::npos;
}

void appendPercentEncoded(std::string& out, char c) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  const auto byte = static_cast<unsigned char>(c);
  out += '%';
  out += kHex[byte >> 4];
  out += kHex[byte & 0xf];
}

}  // namespace

std::optional<URL> URL::parseEncodingInvalidCharacters(std::string_view text) {
  std::string encoded;
  encoded.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool escape =
        c == '%' && i + 2 < text.size() && isHexDigit(text[i + 1]) && isHexDigit(text[i + 2]);
    if (isKeptInURL(c) || escape) {
      encoded += c;
    } else {
      appendPercentEncoded(encoded, c);
    }
  }
  return parse(encoded);
}

std::string percentEncodedComponent(std::string_view value) {
  std::string encoded;
  encoded.reserve(value.size());
  for (const char c : value) {
    if (isAlphanumeric(c) || c == '-' || c == '.' || c == '_' || c == '~') {
      encoded += c;
    } else {
      appendPercentEncoded(encoded, c);
    }
  }
  return encoded;
}

std::optional<URL> URL::resolve(std::string_view reference, const URL& base) {
  if (!hasOnlyURLCharacters(reference)) return std::nullopt;
  if (hasScheme(reference)) return parse(reference);
  if (base.isRelative()) return std::nullopt;
  CurlURL handle(curl_url());
  if (!handle) return std::nullopt;
  const std::string owned(reference);
  if (curl_url_set(handle.get(), CURLUPART_URL, base.text_.c_str(), kParseFlags) != CURLUE_OK ||
      curl_url_set(handle.get(), CURLUPART_URL, owned.c_str(), kParseFlags) != CURLUE_OK) {
    return std::nullopt;
  }
  return parse(part(handle, CURLUPART_URL));
}

std::optional<std::string> URL::query() const {
  const size_t mark = text_.find('?');
  if (mark == std::string::npos) return std::nullopt;
  const size_t fragment = text_.find('#', mark);
  return text_.substr(mark + 1,
                      fragment == std::string::npos ? std::string::npos : fragment - mark - 1);
}

std::vector<URLQueryItem> URL::queryItems() const {
  std::vector<URLQueryItem> items;
  const auto q = query();
  if (!q || q->empty()) return items;
  std::string_view rest(*q);
  while (true) {
    const size_t amp = rest.find('&');
    const std::string_view pair = rest.substr(0, amp);
    const size_t eq = pair.find('=');
    URLQueryItem item;
    item.name = percentDecode(pair.substr(0, eq));
    if (eq != std::string_view::npos) item.value = percentDecode(pair.substr(eq + 1));
    items.push_back(std::move(item));
    if (amp == std::string_view::npos) break;
    rest.remove_prefix(amp + 1);
  }
  return items;
}

std::string URL::host() const {
  if (isRelative()) return {};
  CurlURL handle(curl_url());
  if (!handle ||
      curl_url_set(handle.get(), CURLUPART_URL, text_.c_str(), kParseFlags) != CURLUE_OK) {
    return {};
  }
  return part(handle, CURLUPART_HOST);
}

std::string URL::scheme() const {
  return lowercaseASCII(std::string_view(text_).substr(0, schemeLength_));
}

bool URL::isHTTPOrHTTPS() const {
  const std::string_view scheme = std::string_view(text_).substr(0, schemeLength_);
  return (schemeLength_ == 4 || schemeLength_ == 5) &&
         equalsIgnoringASCIICase(scheme, schemeLength_ == 4 ? "http" : "https");
}

size_t URL::hash() const { return std::hash<std::string>{}(text_); }

}  // namespace skylark
