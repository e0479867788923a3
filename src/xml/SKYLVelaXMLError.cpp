#include "xml/SKYLVelaXMLError.h"

#include <libxml/xmlerror.h>

namespace skylark {
namespace {

std::string trimmed(const char* text) {
  std::string_view s = text ? text : "";
  const char* space = " \t\r\n\v\f";
  const size_t begin = s.find_first_not_of(space);
  if (begin == std::string_view::npos) return {};
  return std::string(s.substr(begin, s.find_last_not_of(space) - begin + 1));
}

}  // namespace

SKYLError SKYLVelaXMLSetErrorFromXMLErrorPtr(XMLErrorPtr error) {
  SKYLError result(std::string(kSKYLVelaXMLErrorDomain), error ? error->code : 0);
  if (error) result.withFailureReason(trimmed(error->message));
  xmlResetLastError();
  return result;
}

}  // namespace skylark
