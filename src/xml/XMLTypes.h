#pragma once

#include <memory>

#include "platform/Visibility.h"

// libxml2's handles, declared without its headers: only the xml/ sources
// include libxml2 itself.
struct _xmlDoc;
struct _xmlNode;
struct _xmlError;
struct _xmlXPathObject;

namespace SKYLARK_API skylark {

using XMLDocPtr = _xmlDoc*;
using XMLNodePtr = _xmlNode*;
using XMLErrorPtr = const _xmlError*;
using XPathObjectPtr = _xmlXPathObject*;

// Owning handles: a document and an XPath result are freed with them.
struct XMLDocFree {
  void operator()(_xmlDoc* document) const;
};
struct XPathObjectFree {
  void operator()(_xmlXPathObject* object) const;
};
using XMLDocHandle = std::unique_ptr<_xmlDoc, XMLDocFree>;
using XPathObjectHandle = std::unique_ptr<_xmlXPathObject, XPathObjectFree>;

}  // namespace skylark
