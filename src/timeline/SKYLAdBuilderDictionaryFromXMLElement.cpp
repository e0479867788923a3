#include "timeline/SKYLAdBuilderDictionaryFromXMLElement.h"

namespace skylark {

SKYLXMLElementDictionary SKYLAdBuilderDictionaryFromXMLElement(const SKYLVelaXMLElement& element) {
  SKYLXMLElementDictionary dictionary;
  dictionary.tag = element.tag();
  dictionary.attributes = element.attributes();
  const auto& children = element.children();
  if (children.empty()) {
    dictionary.content = element.stringValue();
  } else {
    std::vector<SKYLXMLElementDictionary> content;
    content.reserve(children.size());
    for (const auto& child : children) {
      content.push_back(SKYLAdBuilderDictionaryFromXMLElement(child));
    }
    dictionary.content = std::move(content);
  }
  return dictionary;
}

}  // namespace skylark
