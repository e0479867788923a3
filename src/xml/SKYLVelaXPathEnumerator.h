#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "platform/Visibility.h"
#include "xml/SKYLVelaXMLElement.h"
#include "xml/XMLTypes.h"

namespace SKYLARK_API skylark {

class SKYLVelaXMLDocument;

// Walks the node set of an XPath result. Owns the result (freed with it)
// and keeps its document, so its elements never outlive the tree.
class SKYLVelaXPathEnumerator {
 public:
  // Null result: an enumerator of nothing.
  SKYLVelaXPathEnumerator(std::shared_ptr<SKYLVelaXMLDocument> document, XPathObjectHandle result);
  SKYLVelaXPathEnumerator(const SKYLVelaXPathEnumerator&) = delete;
  SKYLVelaXPathEnumerator& operator=(const SKYLVelaXPathEnumerator&) = delete;

  // The element at the cursor, advancing it; nothing once past the end.
  std::optional<SKYLVelaXMLElement> nextObject();
  std::optional<SKYLVelaXMLElement> objectAtIndex(size_t index) const;
  std::vector<SKYLVelaXMLElement> allObjects() const;
  size_t count() const;

 private:
  std::shared_ptr<SKYLVelaXMLDocument> document_;
  XPathObjectHandle result_;
  size_t cursor_ = 0;
};

}  // namespace skylark
