#include "entry/SKYLVUXSessionProviderOptions.h"

#include <sys/utsname.h>

#include <cstdlib>

#include "platform/StringFormat.h"

namespace skylark {
namespace {

// "de_DE.UTF-8@euro" reads "de_DE"; "C", "POSIX" and nothing read as the
// platform's neutral "en_US_POSIX".
std::string localeIdentifier() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (!value || !*value) continue;
    std::string locale(value);
    locale = locale.substr(0, locale.find_first_of(".@"));
    if (locale.empty() || locale == "C" || locale == "POSIX") break;
    return locale;
  }
  return "en_US_POSIX";
}

}  // namespace

SKYLVUXSessionProviderOptions::SKYLVUXSessionProviderOptions()
    : httpHeaders_{{"User-Agent", defaultUserAgent()}} {}

std::string SKYLVUXSessionProviderOptions::defaultUserAgent() {
  struct utsname system {};
  std::string model = "unknown";
  std::string version = "unknown";
  if (uname(&system) == 0) {
    model = system.machine;
    version = std::string(system.sysname) + " " + system.release;
  }
  return formatObjC("ios-vela-ux/7.2.18.42 (%@; %@; %@)", {model, version, localeIdentifier()});
}

}  // namespace skylark
