#include "timeline/SKYLAdBuilderDictionaryFromXMLElement.h"

namespace skylark {

SKYLXMLElementDictionary SKYLAdBuilderDictionaryFromXMLElement(const SKYLVelaXMLElement& element) {
  SKYLXMLElementDictionary dictionary;
  dictionary.tag = element.localName();
  dictionary.attributes = element.copyAttributes();
  const auto& children = element.children();
  if (children.empty()) {
    dictionary.content = std::string(element.stringView());
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
