#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// One argument of an object-style format: its text for %@ and the integer
// specifiers, and its number for %f.
class FormatArg {
 public:
  FormatArg(std::nullptr_t) : text_("(null)") {}         // NOLINT: implicit by design
  FormatArg(const char* s) : text_(s ? s : "(null)") {}  // NOLINT
  FormatArg(std::string_view s) : text_(s) {}            // NOLINT
  FormatArg(const std::string& s) : text_(s) {}          // NOLINT
  FormatArg(bool b) : text_(b ? "YES" : "NO") {}         // NOLINT
  template <std::integral I>
  requires(!std::same_as<I, bool>) FormatArg(I i)
      : text_(std::to_string(i)), number_(static_cast<double>(i)) {}  // NOLINT
  template <std::floating_point F>
  FormatArg(F f) : text_(std::to_string(f)), number_(static_cast<double>(f)) {}  // NOLINT
  FormatArg(const void* p);  // NOLINT: rendered as 0x...
  // Anything with a description(), as the platform prints objects.
  template <typename T>
  requires requires(const T& t) {
    { t.description() } -> std::convertible_to<std::string>;
  }
  FormatArg(const T& object) : text_(object.description()) {}  // NOLINT
  template <typename T>
  FormatArg(const std::optional<T>& maybe)  // NOLINT
      : FormatArg(maybe ? FormatArg(*maybe) : FormatArg(nullptr)) {}

  const std::string& text() const { return text_; }
  std::optional<double> number() const { return number_; }

 private:
  std::string text_;
  std::optional<double> number_;
};

// Formats an object-style format string: %@, %d, %i, %u, %ld, %lu, %lld,
// %llu, %zu, %p and %f (with an optional precision such as %.3f) each take
// the next argument; %% is a percent sign. A missing argument prints
// "(null)"; an unknown specifier is copied as it stands.
std::string formatObjC(std::string_view format, std::initializer_list<FormatArg> args);

// "0x" followed by the address in lower-case hexadecimal, as %p prints it.
std::string addressString(const void* p);

}  // namespace skylark
