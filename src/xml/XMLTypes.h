#pragma once

// libxml2's handles, declared without its headers: only the xml/ sources
// include libxml2 itself.
struct _xmlDoc;
struct _xmlNode;
struct _xmlError;
struct _xmlXPathObject;

namespace skylark {

using XMLDocPtr = _xmlDoc*;
using XMLNodePtr = _xmlNode*;
using XMLErrorPtr = const _xmlError*;
using XPathObjectPtr = _xmlXPathObject*;

}  // namespace skylark
