#pragma once

#include "platform/Visibility.h"
#include "timeline/SKYLXMLElementDictionary.h"
#include "xml/SKYLVelaXMLElement.h"

namespace SKYLARK_API skylark {

// The element as plain data: its tag, attributes and either its child
// elements (recursively, in document order) or its untrimmed string value.
// Text beside child elements is dropped by design. Recursion is bounded by
// the parser's own nesting limit.
SKYLXMLElementDictionary SKYLAdBuilderDictionaryFromXMLElement(const SKYLVelaXMLElement& element);

}  // namespace skylark
