#include "xml/SKYLVelaXPathEnumerator.h"

#include <libxml/xpath.h>

#include "xml/SKYLVelaXMLDocument.h"

namespace skylark {

SKYLVelaXPathEnumerator::SKYLVelaXPathEnumerator(std::shared_ptr<SKYLVelaXMLDocument> document,
                                                 XPathObjectHandle result)
    : document_(std::move(document)), result_(std::move(result)) {}

size_t SKYLVelaXPathEnumerator::count() const {
  if (!result_ || result_->type != XPATH_NODESET || !result_->nodesetval) return 0;
  return static_cast<size_t>(result_->nodesetval->nodeNr);
}

std::optional<SKYLVelaXMLElement> SKYLVelaXPathEnumerator::objectAtIndex(size_t index) const {
  if (index >= count()) return std::nullopt;
  return document_->elementWithNode(result_->nodesetval->nodeTab[index]);
}

std::optional<SKYLVelaXMLElement> SKYLVelaXPathEnumerator::nextObject() {
  while (cursor_ < count()) {
    // Nodes that cannot be wrapped (namespace declarations) are passed over.
    if (auto element = objectAtIndex(cursor_++)) return element;
  }
  return std::nullopt;
}

std::vector<SKYLVelaXMLElement> SKYLVelaXPathEnumerator::allObjects() const {
  std::vector<SKYLVelaXMLElement> elements;
  for (size_t i = 0; i < count(); ++i) {
    if (auto element = objectAtIndex(i)) elements.push_back(std::move(*element));
  }
  return elements;
}

}  // namespace skylark
