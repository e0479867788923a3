#include "xml/SKYLVelaXMLElement.h"

#include <cctype>

#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include "platform/ASCIICase.h"
#include "xml/QuietLibxmlErrors.h"
#include "xml/SKYLVelaXMLDocument.h"
#include "xml/SKYLVelaXPathEnumerator.h"
#include "xml/SKYLVelaXPathFromCSS.h"

namespace skylark {
namespace {

const char* text(const xmlChar* s) { return reinterpret_cast<const char*>(s); }
const xmlChar* xml(const char* s) { return reinterpret_cast<const xmlChar*>(s); }

// libxml2 hands out several structs through xmlNode pointers; only these
// node types have the namespace, attribute and declaration fields.
bool hasElementFields(XMLNodePtr node) { return node->type == XML_ELEMENT_NODE; }
bool hasNamespaceField(XMLNodePtr node) {
  return node->type == XML_ELEMENT_NODE || node->type == XML_ATTRIBUTE_NODE;
}

// Takes a libxml2-allocated string, returning its text (empty for none).
std::string adopt(xmlChar* owned) {
  if (!owned) return {};
  std::string out(text(owned));
  xmlFree(owned);
  return out;
}

std::optional<std::string> adoptOptional(xmlChar* owned) {
  if (!owned) return std::nullopt;
  return adopt(owned);
}

// The content of an element that holds nothing or a single text or CDATA
// node, which is what libxml2 would concatenate for it; null for anything
// else (several nodes, entity references, child elements).
const xmlChar* soleTextContent(XMLNodePtr node) {
  static const xmlChar kEmpty[] = "";
  if (node->type != XML_ELEMENT_NODE) return nullptr;
  const xmlNode* child = node->children;
  if (!child) return kEmpty;
  if (child->next || (child->type != XML_TEXT_NODE && child->type != XML_CDATA_SECTION_NODE)) {
    return nullptr;
  }
  return child->content ? child->content : kEmpty;
}

// Calls visit(prefix, uri) for each namespace an XPath expression relative
// to node may use, innermost declaration first: the prefixes declared on
// node and its ancestors (the document node excluded), and default
// namespaces under the prefix the document defines for them. Later calls
// for one prefix replace earlier ones, as in an XPath context.
template <typename Visit>
void forEachXPathNamespace(XMLNodePtr node, const SKYLVelaXMLDocument& document, Visit visit) {
  for (; node && node->parent; node = node->parent) {
    if (!hasElementFields(node)) continue;
    for (xmlNsPtr ns = node->nsDef; ns; ns = ns->next) {
      if (!ns->href) continue;
      if (ns->prefix) {
        visit(ns->prefix, ns->href);
      } else if (auto prefix = document.prefixForDefaultNamespace(text(ns->href))) {
        visit(xml(prefix->c_str()), ns->href);
      }
    }
  }
}

}  // namespace

struct SKYLVelaXMLElement::Cache {
  std::optional<std::string> tag;
  std::optional<std::optional<std::string>> namespacePrefix;
  std::optional<std::map<std::string, std::string>> attributes;
  std::optional<Elements> children;
  std::optional<std::string> stringValue;
  std::optional<std::optional<double>> numberValue;
  std::optional<std::optional<SystemTime>> dateValue;
  std::optional<std::string> rawXMLString;
};

bool SKYLVelaXMLNodeMatchesTagInNamespace(XMLNodePtr node, std::optional<std::string_view> tag,
                                          std::optional<std::string_view> inNamespace) {
  if (!node) return false;
  if (tag && !(node->name && equalsIgnoringASCIICase(text(node->name), *tag))) return false;
  if (!inNamespace) return true;
  if (!hasNamespaceField(node) || !node->ns || !node->ns->prefix) return false;
  return equalsIgnoringASCIICase(text(node->ns->prefix), *inNamespace);
}

SKYLVelaXMLElement::SKYLVelaXMLElement(std::shared_ptr<SKYLVelaXMLDocument> document,
                                       XMLNodePtr node)
    : document_(std::move(document)), node_(node) {}

SKYLVelaXMLElement::SKYLVelaXMLElement(const SKYLVelaXMLElement& other)
    : document_(other.document_), node_(other.node_) {}

SKYLVelaXMLElement& SKYLVelaXMLElement::operator=(const SKYLVelaXMLElement& other) {
  if (this != &other) {
    document_ = other.document_;
    node_ = other.node_;
    cache_.reset();
  }
  return *this;
}

SKYLVelaXMLElement::SKYLVelaXMLElement(SKYLVelaXMLElement&&) noexcept = default;
SKYLVelaXMLElement& SKYLVelaXMLElement::operator=(SKYLVelaXMLElement&&) noexcept = default;
SKYLVelaXMLElement::~SKYLVelaXMLElement() = default;

SKYLVelaXMLElement::Cache& SKYLVelaXMLElement::cache() const {
  if (!cache_) cache_ = std::make_unique<Cache>();
  return *cache_;
}

std::optional<SKYLVelaXMLElement> SKYLVelaXMLElement::wrap(XMLNodePtr node) const {
  return document_->elementWithNode(node);
}

const std::string& SKYLVelaXMLElement::tag() const {
  auto& tag = cache().tag;
  if (!tag) tag = localName();
  return *tag;
}

std::string_view SKYLVelaXMLElement::localName() const {
  return node_->name ? text(node_->name) : "";
}

const std::optional<std::string>& SKYLVelaXMLElement::namespacePrefix() const {
  auto& prefix = cache().namespacePrefix;
  if (!prefix) {
    prefix.emplace();
    if (hasNamespaceField(node_) && node_->ns && node_->ns->prefix) {
      *prefix = text(node_->ns->prefix);
    }
  }
  return *prefix;
}

std::optional<std::string_view> SKYLVelaXMLElement::namespaceURI() const {
  if (!hasNamespaceField(node_) || !node_->ns || !node_->ns->href) return std::nullopt;
  return text(node_->ns->href);
}

std::optional<std::string> SKYLVelaXMLElement::namespaceURIForXPathPrefix(
    std::string_view prefix) const {
  std::optional<std::string> uri;
  forEachXPathNamespace(node_, *document_, [&](const xmlChar* declared, const xmlChar* href) {
    if (prefix == text(declared)) uri = text(href);
  });
  return uri;
}

long SKYLVelaXMLElement::lineNumber() const { return xmlGetLineNo(node_); }

const std::map<std::string, std::string>& SKYLVelaXMLElement::attributes() const {
  auto& attributes = cache().attributes;
  if (!attributes) attributes = copyAttributes();
  return *attributes;
}

std::map<std::string, std::string> SKYLVelaXMLElement::copyAttributes() const {
  std::map<std::string, std::string> attributes;
  if (!hasElementFields(node_)) return attributes;
  for (xmlAttrPtr attribute = node_->properties; attribute; attribute = attribute->next) {
    // Read from the attribute node itself: looking each name up again would
    // be quadratic in the number of attributes. The first of duplicate names
    // wins, as in a lookup by name.
    const _xmlNode* value = attribute->children;
    if (value && value->type == XML_TEXT_NODE && !value->next) {
      attributes.emplace(text(attribute->name), value->content ? text(value->content) : "");
    } else {
      attributes.emplace(text(attribute->name),
                         adopt(xmlNodeListGetString(node_->doc, attribute->children, 1)));
    }
  }
  return attributes;
}

std::optional<std::string> SKYLVelaXMLElement::valueForAttribute(std::string_view name) const {
  if (!hasElementFields(node_)) return std::nullopt;
  // The first attribute of that name in any namespace, as xmlGetProp finds
  // it, read in place when its value is one text node.
  const auto viaLibxml = [&] {
    return adoptOptional(xmlGetProp(node_, xml(std::string(name).c_str())));
  };
  for (xmlAttrPtr attribute = node_->properties; attribute; attribute = attribute->next) {
    if (!attribute->name || name != text(attribute->name)) continue;
    const _xmlNode* value = attribute->children;
    if (!value) return std::string();
    if (value->type == XML_TEXT_NODE && !value->next) {
      return std::string(value->content ? text(value->content) : "");
    }
    return viaLibxml();  // entity references
  }
  // Not on the element: a default its document type declares, if it has one.
  if (!node_->doc || (!node_->doc->intSubset && !node_->doc->extSubset)) return std::nullopt;
  return viaLibxml();
}

std::optional<std::string> SKYLVelaXMLElement::valueForAttribute(
    std::string_view name, std::string_view inNamespaceURI) const {
  if (!hasElementFields(node_)) return std::nullopt;
  return adoptOptional(xmlGetNsProp(node_, xml(std::string(name).c_str()),
                                    xml(std::string(inNamespaceURI).c_str())));
}

std::optional<SKYLVelaXMLElement> SKYLVelaXMLElement::parent() const { return wrap(node_->parent); }
std::optional<SKYLVelaXMLElement> SKYLVelaXMLElement::previousSibling() const {
  return wrap(node_->prev);
}
std::optional<SKYLVelaXMLElement> SKYLVelaXMLElement::nextSibling() const {
  return wrap(node_->next);
}

XMLNodePtr SKYLVelaXMLElement::elementAtOrAfter(XMLNodePtr node,
                                                std::optional<std::string_view> tag) {
  for (; node; node = node->next) {
    if (node->type == XML_ELEMENT_NODE && SKYLVelaXMLNodeMatchesTagInNamespace(node, tag, {})) {
      return node;
    }
  }
  return nullptr;
}

XMLNodePtr SKYLVelaXMLElement::firstChildNode(XMLNodePtr node) { return node->children; }
XMLNodePtr SKYLVelaXMLElement::nextNode(XMLNodePtr node) { return node->next; }

void SKYLVelaXMLElement::moveTo(XMLNodePtr node) {
  node_ = node;
  cache_.reset();
}

namespace {

// The number of element children that match; a list of them is made at
// its full size at once.
size_t countMatchingChildren(XMLNodePtr node, std::optional<std::string_view> tag,
                             std::optional<std::string_view> inNamespace) {
  size_t count = 0;
  for (XMLNodePtr child = node->children; child; child = child->next) {
    count += child->type == XML_ELEMENT_NODE &&
             SKYLVelaXMLNodeMatchesTagInNamespace(child, tag, inNamespace);
  }
  return count;
}

}  // namespace

const SKYLVelaXMLElement::Elements& SKYLVelaXMLElement::children() const {
  auto& children = cache().children;
  if (!children) {
    children.emplace();
    children->reserve(countMatchingChildren(node_, std::nullopt, std::nullopt));
    for (XMLNodePtr child = node_->children; child; child = child->next) {
      if (child->type == XML_ELEMENT_NODE) children->emplace_back(document_, child);
    }
  }
  return *children;
}

SKYLVelaXMLElement::Elements SKYLVelaXMLElement::childrenAtIndexes(
    const std::set<size_t>& indexes) const {
  Elements found;
  size_t index = 0;
  for (XMLNodePtr child = node_->children; child; child = child->next, ++index) {
    if (child->type == XML_ELEMENT_NODE && indexes.count(index)) {
      found.emplace_back(document_, child);
    }
  }
  return found;
}

std::set<size_t> SKYLVelaXMLElement::indexesOfChildrenPassingTest(
    const std::function<bool(XMLNodePtr child, bool& stop)>& test) const {
  std::set<size_t> passing;
  bool stop = false;
  size_t index = 0;
  for (XMLNodePtr child = node_->children; child && !stop; child = child->next, ++index) {
    if (test(child, stop)) passing.insert(index);
  }
  return passing;
}

// The tag queries walk the raw child list and wrap only what matches: an
// ad parser asks them for nearly every element it reads.
std::optional<SKYLVelaXMLElement> SKYLVelaXMLElement::firstChildWithTag(
    std::string_view tag) const {
  return firstChildWithTag(tag, std::nullopt);
}

std::optional<SKYLVelaXMLElement> SKYLVelaXMLElement::firstChildWithTag(
    std::string_view tag, std::optional<std::string_view> inNamespace) const {
  for (XMLNodePtr child = node_->children; child; child = child->next) {
    if (child->type == XML_ELEMENT_NODE &&
        SKYLVelaXMLNodeMatchesTagInNamespace(child, tag, inNamespace)) {
      return SKYLVelaXMLElement(document_, child);
    }
  }
  return std::nullopt;
}

SKYLVelaXMLElement::Elements SKYLVelaXMLElement::childrenWithTag(std::string_view tag) const {
  return childrenWithTag(tag, std::nullopt);
}

SKYLVelaXMLElement::Elements SKYLVelaXMLElement::childrenWithTag(
    std::string_view tag, std::optional<std::string_view> inNamespace) const {
  Elements found;
  found.reserve(countMatchingChildren(node_, tag, inNamespace));
  for (XMLNodePtr child = node_->children; child; child = child->next) {
    if (child->type == XML_ELEMENT_NODE &&
        SKYLVelaXMLNodeMatchesTagInNamespace(child, tag, inNamespace)) {
      found.emplace_back(document_, child);
    }
  }
  return found;
}

const std::string& SKYLVelaXMLElement::stringValue() const {
  auto& value = cache().stringValue;
  if (!value) {
    const xmlChar* sole = soleTextContent(node_);
    value = sole ? std::string(text(sole)) : adopt(xmlNodeGetContent(node_));
  }
  return *value;
}

std::string_view SKYLVelaXMLElement::stringView() const {
  if (const xmlChar* sole = soleTextContent(node_)) return text(sole);
  return stringValue();
}

std::optional<double> SKYLVelaXMLElement::numberValue() const {
  auto& value = cache().numberValue;
  if (!value) value = document_->numberFormatter().parse(stringView());
  return *value;
}

std::optional<SystemTime> SKYLVelaXMLElement::dateValue() const {
  auto& value = cache().dateValue;
  if (!value) value = document_->dateFormatter().parse(stringView());
  return *value;
}

const std::string& SKYLVelaXMLElement::rawXMLString() const {
  auto& raw = cache().rawXMLString;
  if (!raw) {
    raw.emplace();
    QuietLibxmlErrors quiet;
    if (xmlBufferPtr buffer = xmlBufferCreate()) {
      if (xmlNodeDump(buffer, node_->doc, node_, 0, 0) >= 0) {
        *raw = text(xmlBufferContent(buffer));
      }
      xmlBufferFree(buffer);
    }
    xmlResetLastError();
  }
  return *raw;
}

XPathObjectHandle SKYLVelaXMLElement::evaluate(std::string_view expression) const {
  // Compile and evaluation errors mean "no result"; keep them off stderr.
  QuietLibxmlErrors quiet;
  const std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)> owned(
      xmlXPathNewContext(node_->doc), &xmlXPathFreeContext);
  xmlXPathContextPtr context = owned.get();
  if (!context) return nullptr;
  context->node = node_;
  forEachXPathNamespace(node_, *document_, [&](const xmlChar* prefix, const xmlChar* href) {
    xmlXPathRegisterNs(context, prefix, href);
  });
  const std::string terminated(expression);
  XPathObjectHandle result(xmlXPathEvalExpression(xml(terminated.c_str()), context));
  xmlResetLastError();
  return result;
}

std::shared_ptr<SKYLVelaXPathEnumerator> SKYLVelaXMLElement::XPath(
    std::string_view expression) const {
  return document_->enumeratorWithXPathObject(evaluate(expression));
}

void SKYLVelaXMLElement::enumerateElementsWithXPath(std::string_view expression,
                                                    const EnumerationBlock& usingBlock) const {
  const auto enumerator = XPath(expression);
  if (!enumerator) return;
  bool stop = false;
  size_t index = 0;
  while (!stop) {
    auto element = enumerator->nextObject();
    if (!element) break;
    usingBlock(*element, index++, stop);
  }
}

std::optional<SKYLVelaXMLElement> SKYLVelaXMLElement::firstChildWithXPath(
    std::string_view expression) const {
  const auto enumerator = XPath(expression);
  return enumerator ? enumerator->nextObject() : std::nullopt;
}

std::optional<SKYLVelaXPathFunctionResult> SKYLVelaXMLElement::functionResultByEvaluatingXPath(
    std::string_view expression) const {
  const XPathObjectHandle result = evaluate(expression);
  if (!result) return std::nullopt;
  SKYLVelaXPathFunctionResult values;
  values.boolValue = xmlXPathCastToBoolean(result.get()) != 0;
  values.numericValue = xmlXPathCastToNumber(result.get());
  values.stringValue = adopt(xmlXPathCastToString(result.get()));
  return values;
}

std::shared_ptr<SKYLVelaXPathEnumerator> SKYLVelaXMLElement::CSS(std::string_view selector) const {
  return XPath(SKYLVelaXPathFromCSS(selector));
}

void SKYLVelaXMLElement::enumerateElementsWithCSS(std::string_view selector,
                                                  const EnumerationBlock& usingBlock) const {
  enumerateElementsWithXPath(SKYLVelaXPathFromCSS(selector), usingBlock);
}

std::optional<SKYLVelaXMLElement> SKYLVelaXMLElement::firstChildWithCSS(
    std::string_view selector) const {
  return firstChildWithXPath(SKYLVelaXPathFromCSS(selector));
}

}  // namespace skylark
