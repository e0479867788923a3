#pragma once

#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

inline constexpr std::string_view kSKYLXMLElementTagKey = "tag";
inline constexpr std::string_view kSKYLXMLElementAttributesKey = "attributes";
inline constexpr std::string_view kSKYLXMLElementContentKey = "content";

// An XML element kept as plain data (VAST extensions travel to the host
// this way): its tag, its attributes, and either its children (when it has
// child elements) or its string value. Text beside child elements is not
// kept. Converts to the "tag"/"attributes"/"content" dictionary shape.
struct SKYLXMLElementDictionary {
  std::string tag;
  std::map<std::string, std::string> attributes;
  std::variant<std::string, std::vector<SKYLXMLElementDictionary>> content;

  bool operator==(const SKYLXMLElementDictionary&) const = default;
  std::string description() const;
};

}  // namespace skylark
