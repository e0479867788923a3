#include "platform/StringFormat.h"

#include <cctype>

#include <fmt/format.h>

namespace skylark {

FormatArg::FormatArg(const void* p) : text_(addressString(p)) {}

std::string addressString(const void* p) {
  return fmt::format("{:#x}", reinterpret_cast<uintptr_t>(p));
}

std::string formatObjC(std::string_view format, std::initializer_list<FormatArg> args) {
  std::string out;
  out.reserve(format.size() + 32);
  auto next = args.begin();
  auto take = [&]() -> const FormatArg* { return next == args.end() ? nullptr : &*next++; };

  for (size_t i = 0; i < format.size(); ++i) {
    const char c = format[i];
    if (c != '%' || i + 1 == format.size()) {
      out += c;
      continue;
    }
    size_t j = i + 1;
    if (format[j] == '%') {
      out += '%';
      i = j;
      continue;
    }
    // Optional precision, then length modifiers, then the conversion.
    std::optional<int> precision;
    if (format[j] == '.') {
      int p = 0;
      ++j;
      while (j < format.size() && std::isdigit(static_cast<unsigned char>(format[j]))) {
        p = p * 10 + (format[j++] - '0');
      }
      precision = p;
    }
    while (j < format.size() && (format[j] == 'l' || format[j] == 'z' || format[j] == 'h')) ++j;
    if (j == format.size()) {
      out.append(format.substr(i));
      break;
    }
    const char conversion = format[j];
    switch (conversion) {
      case '@':
      case 'd':
      case 'i':
      case 'u':
      case 'p':
      case 's': {
        const FormatArg* arg = take();
        out += arg ? arg->text() : "(null)";
        break;
      }
      case 'f': {
        const FormatArg* arg = take();
        if (arg && arg->number()) {
          out += fmt::format("{:.{}f}", *arg->number(), precision.value_or(6));
        } else {
          out += arg ? arg->text() : "(null)";
        }
        break;
      }
      default:
        out.append(format.substr(i, j - i + 1));
        break;
    }
    i = j;
  }
  return out;
}

}  // namespace skylark
