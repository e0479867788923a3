#pragma once

#include <cstddef>
#include <string_view>

#include "xml/XMLTypes.h"

namespace skylark {

// Bounds on what an ad document may cost before and after libxml2 reads it.
// Documents come from the network; these keep a hostile one from turning a
// few kilobytes into minutes of CPU or gigabytes of text.

// libxml2 checks attributes for duplicates pairwise, so one start tag with
// many attributes is quadratic. Ad documents carry a handful per element.
inline constexpr size_t kMaxAttributesPerElement = 1024;

// True when no start tag in data carries more than maxAttributes
// attributes. A light scan of the bytes: comments, CDATA sections,
// processing instructions and declarations are stepped over, and quoted
// values may hold any character.
bool startTagsWithinAttributeLimit(std::string_view data, size_t maxAttributes);

// The number of bytes that reading every text and attribute of document
// would produce from entity references, counting at most up to limit (a
// result above limit means "more than limit"). Entities are not substituted
// while parsing, so this is what reading the tree would expand to.
size_t entityExpansionBytes(XMLDocPtr document, size_t limit);

// How many bytes of entity expansion a document of size bytes may carry.
inline size_t entityExpansionBudget(size_t size) { return 4 * size + 64 * 1024; }

}  // namespace skylark
