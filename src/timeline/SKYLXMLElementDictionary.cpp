#include "timeline/SKYLXMLElementDictionary.h"

#include "platform/Description.h"

namespace skylark {

std::string SKYLXMLElementDictionary::description() const {
  std::string out = "{tag = " + tag + "; attributes = {";
  for (const auto& [name, value] : attributes) out += name + " = " + value + "; ";
  out += "}; content = ";
  if (const auto* text = std::get_if<std::string>(&content)) {
    out += *text;
  } else {
    out += describeList(std::get<std::vector<SKYLXMLElementDictionary>>(content));
  }
  return out + ";}";
}

}  // namespace skylark
