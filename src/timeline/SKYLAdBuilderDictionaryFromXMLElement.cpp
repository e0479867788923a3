#include "timeline/SKYLAdBuilderDictionaryFromXMLElement.h"

namespace skylark {

SKYLXMLElementDictionary SKYLAdBuilderDictionaryFromXMLElement(const SKYLVelaXMLElement& element) {
  SKYLXMLElementDictionary dictionary;
  dictionary.tag = element.localName();
  dictionary.attributes = element.copyAttributes();
  std::vector<SKYLXMLElementDictionary> content;
  element.forEachChild([&](const SKYLVelaXMLElement& child) {
    content.push_back(SKYLAdBuilderDictionaryFromXMLElement(child));
  });
  if (content.empty()) {
    dictionary.content = std::string(element.stringView());
  } else {
    dictionary.content = std::move(content);
  }
  return dictionary;
}

}  // namespace skylark
