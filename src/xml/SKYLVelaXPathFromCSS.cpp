#include "xml/SKYLVelaXPathFromCSS.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include <unicode/regex.h>
#include <unicode/unistr.h>

namespace skylark {
namespace {

using icu::RegexMatcher;
using icu::RegexPattern;
using icu::UnicodeString;

// The three patterns, compiled once; a matcher is made per use, since
// patterns are shareable between threads and matchers are not.
struct Patterns {
  std::unique_ptr<RegexPattern> id;
  std::unique_ptr<RegexPattern> className;
  std::unique_ptr<RegexPattern> attribute;
};

const Patterns& patterns() {
  // Never destroyed: a selector on another thread may run while the process exits.
  static const Patterns& compiled = *new Patterns([] {
    auto compile = [](const char16_t* pattern) {
      UErrorCode status = U_ZERO_ERROR;
      UParseError parseError;
      std::unique_ptr<RegexPattern> p(
          RegexPattern::compile(UnicodeString(pattern), 0, parseError, status));
      return U_SUCCESS(status) ? std::move(p) : nullptr;
    };
    return Patterns{compile(u"\\#([\\w-_]+)"), compile(u"\\.([^\\.]+)"), compile(u"\\[(\\w+)\\]")};
  }());
  return compiled;
}

std::string utf8(const UnicodeString& s) {
  std::string out;
  s.toUTF8String(out);
  return out;
}

std::vector<std::string> splitOnWhiteSpace(std::string_view s) {
  std::vector<std::string> tokens;
  std::string current;
  for (char c : s) {
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v') {
      if (!current.empty()) tokens.push_back(std::move(current));
      current.clear();
    } else {
      current += c;
    }
  }
  if (!current.empty()) tokens.push_back(std::move(current));
  return tokens;
}

// Every first capture of the pattern in the text.
std::vector<UnicodeString> allCaptures(const RegexPattern* pattern, const UnicodeString& text) {
  std::vector<UnicodeString> captures;
  if (!pattern) return captures;
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<RegexMatcher> matcher(pattern->matcher(text, status));
  if (U_FAILURE(status)) return captures;
  while (matcher->find(status) && U_SUCCESS(status)) {
    captures.push_back(matcher->group(1, status));
  }
  return captures;
}

std::string stepText(const UnicodeString& token, const UnicodeString& selector) {
  int32_t first = -1;
  for (int32_t i = 0; i < token.length(); ++i) {
    const char16_t c = token.charAt(i);
    if (c == u'#' || c == u'.' || c == u'[' || c == u']') {
      first = i;
      break;
    }
  }
  if (first < 0) return utf8(token);

  std::string step = utf8(UnicodeString(token, 0, first));
  const std::string elementTest = first == 0 ? "*" : "";
  const Patterns& p = patterns();

  // The id is sought in the whole selector, over the token's length.
  if (p.id) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<RegexMatcher> matcher(p.id->matcher(selector, status));
    if (U_SUCCESS(status)) {
      matcher->region(0, std::min(token.length(), selector.length()), status);
      if (U_SUCCESS(status) && matcher->find(status) && U_SUCCESS(status)) {
        const int32_t start = matcher->start(1, status);
        const int32_t end = matcher->end(1, status);
        if (U_SUCCESS(status) && start >= 0 && end <= token.length()) {
          const std::string id = utf8(UnicodeString(token, start, end - start));
          step += elementTest + "[@id = '" + id + "']";
        }
      }
    }
  }
  for (const auto& name : allCaptures(p.className.get(), token)) {
    step +=
        elementTest + "[contains(concat(' ',normalize-space(@class),' '),' " + utf8(name) + " ')]";
  }
  for (const auto& name : allCaptures(p.attribute.get(), token)) {
    step += "[@" + utf8(name) + "]";
  }
  return step;
}

std::string translateAlternative(std::string_view alternative, const UnicodeString& selector) {
  std::vector<std::string> components = {"./"};
  std::optional<std::string> pendingPrefix = "";
  const auto tokens = splitOnWhiteSpace(alternative);
  for (size_t position = 0; position < tokens.size(); ++position) {
    const std::string& token = tokens[position];
    if (token == "*" && position > 0) {
      components.push_back("/*");
    } else if (token == ">") {
      pendingPrefix = "";
    } else if (token == "+") {
      pendingPrefix = "following-sibling::*[1]/self::";
    } else if (token == "~") {
      pendingPrefix = "following-sibling::";
    } else {
      if (position > 0 && !pendingPrefix) pendingPrefix = "descendant::";
      const std::string step = stepText(UnicodeString::fromUTF8(token), selector);
      components.push_back(pendingPrefix ? *pendingPrefix + step : step);
      pendingPrefix.reset();
    }
  }
  std::string joined;
  for (size_t i = 0; i < components.size(); ++i) {
    if (i > 0) joined += "/";
    joined += components[i];
  }
  return joined;
}

}  // namespace

std::string SKYLVelaXPathFromCSS(std::string_view css) {
  const UnicodeString selector = UnicodeString::fromUTF8(css);
  std::string result;
  size_t start = 0;
  while (start <= css.size()) {
    const size_t comma = css.find(',', start);
    const std::string_view alternative =
        css.substr(start, comma == std::string_view::npos ? std::string_view::npos : comma - start);
    if (alternative.find_first_not_of(" \t\r\n\f\v") != std::string_view::npos) {
      if (!result.empty()) result += " | ";
      result += translateAlternative(alternative, selector);
    }
    if (comma == std::string_view::npos) break;
    start = comma + 1;
  }
  return result;
}

}  // namespace skylark
