#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/DateParser.h"
#include "platform/Visibility.h"
#include "xml/SKYLVelaXPathFunctionResult.h"
#include "xml/XMLTypes.h"

namespace SKYLARK_API skylark {

class SKYLVelaXMLDocument;
class SKYLVelaXPathEnumerator;

// True when the node's name equals tag (ASCII case-insensitively) and, when
// a namespace prefix is given, the node's namespace has a prefix equal to
// it (likewise). An absent tag or namespace matches anything. The namespace
// is a prefix, not a URI.
bool SKYLVelaXMLNodeMatchesTagInNamespace(XMLNodePtr node, std::optional<std::string_view> tag,
                                          std::optional<std::string_view> inNamespace);

// A node of a parsed document. The wrapper keeps its document, and so the
// libxml2 tree, alive; wrappers are made fresh each time a node is handed
// out, and two wrappers of one node compare equal. Values are computed on
// first request and cached in the wrapper (a copy starts without them, so
// wrappers stay small). Use a document and its elements on one thread at a
// time.
class SKYLVelaXMLElement {
 public:
  using Elements = std::vector<SKYLVelaXMLElement>;
  using EnumerationBlock =
      std::function<void(const SKYLVelaXMLElement& element, size_t index, bool& stop)>;

  SKYLVelaXMLElement(std::shared_ptr<SKYLVelaXMLDocument> document, XMLNodePtr node);
  SKYLVelaXMLElement(const SKYLVelaXMLElement& other);
  SKYLVelaXMLElement& operator=(const SKYLVelaXMLElement& other);
  SKYLVelaXMLElement(SKYLVelaXMLElement&&) noexcept;
  SKYLVelaXMLElement& operator=(SKYLVelaXMLElement&&) noexcept;
  ~SKYLVelaXMLElement();

  const std::shared_ptr<SKYLVelaXMLDocument>& document() const { return document_; }
  XMLNodePtr xmlNode() const { return node_; }

  // The node's name, without prefix.
  const std::string& tag() const;
  // The same, read in place.
  std::string_view localName() const;
  // The prefix of the node's namespace; nothing without one.
  const std::optional<std::string>& namespacePrefix() const;
  // The node's namespace URI, read in place; nothing without one.
  std::optional<std::string_view> namespaceURI() const;
  // The namespace URI an XPath expression relative to this node reads
  // prefix as (see XPath below); nothing when it names none.
  std::optional<std::string> namespaceURIForXPathPrefix(std::string_view prefix) const;
  long lineNumber() const;

  // Every attribute, name to value.
  const std::map<std::string, std::string>& attributes() const;
  // The same map, made afresh for the caller to keep.
  std::map<std::string, std::string> copyAttributes() const;
  std::optional<std::string> valueForAttribute(std::string_view name) const;
  std::optional<std::string> valueForAttribute(std::string_view name,
                                               std::string_view inNamespaceURI) const;

  std::optional<SKYLVelaXMLElement> parent() const;
  std::optional<SKYLVelaXMLElement> previousSibling() const;
  std::optional<SKYLVelaXMLElement> nextSibling() const;

  // The element children, in document order.
  const Elements& children() const;
  // Counts child nodes of every kind from 0 (text and comments included) and
  // returns the element children whose count is in the set.
  Elements childrenAtIndexes(const std::set<size_t>& indexes) const;
  std::set<size_t> indexesOfChildrenPassingTest(
      const std::function<bool(XMLNodePtr child, bool& stop)>& test) const;

  std::optional<SKYLVelaXMLElement> firstChildWithTag(std::string_view tag) const;
  // A namespace prefix (not URI) to match; nothing matches any.
  std::optional<SKYLVelaXMLElement> firstChildWithTag(
      std::string_view tag, std::optional<std::string_view> inNamespace) const;
  Elements childrenWithTag(std::string_view tag) const;
  Elements childrenWithTag(std::string_view tag, std::optional<std::string_view> inNamespace) const;

  // Calls visit(child) for each element child in document order (with a
  // tag, for each that firstChildWithTag would match), without building a
  // list: one wrapper is handed to every call in turn, so copy it to keep
  // it. A visit that returns bool stops the walk by returning false.
  template <typename Visit>
  void forEachChild(Visit&& visit) const {
    forEachChildMatching(std::nullopt, std::forward<Visit>(visit));
  }
  template <typename Visit>
  void forEachChildWithTag(std::string_view tag, Visit&& visit) const {
    forEachChildMatching(tag, std::forward<Visit>(visit));
  }

  // The text content, untrimmed; empty when there is none.
  const std::string& stringValue() const;
  // The same text, read in place when it is a single text or CDATA node
  // (as nearly every value of an ad document is); valid while this wrapper
  // lives.
  std::string_view stringView() const;
  // The text read with the document's "en_US" decimal formatter.
  std::optional<double> numberValue() const;
  // The text read as "yyyy-MM-dd'T'HH:mm:ssZ" ("en_US_POSIX").
  std::optional<SystemTime> dateValue() const;
  bool isBlank() const { return stringValue().empty(); }

  // The node serialised as XML.
  const std::string& rawXMLString() const;
  std::string description() const { return rawXMLString(); }

  // XPath relative to this node; prefixes declared on it and its ancestors
  // (and the document's prefixes for default namespaces) are usable. An
  // expression libxml2 cannot evaluate yields nothing.
  std::shared_ptr<SKYLVelaXPathEnumerator> XPath(std::string_view expression) const;
  void enumerateElementsWithXPath(std::string_view expression,
                                  const EnumerationBlock& usingBlock) const;
  std::optional<SKYLVelaXMLElement> firstChildWithXPath(std::string_view expression) const;
  std::optional<SKYLVelaXPathFunctionResult> functionResultByEvaluatingXPath(
      std::string_view expression) const;

  std::shared_ptr<SKYLVelaXPathEnumerator> CSS(std::string_view selector) const;
  void enumerateElementsWithCSS(std::string_view selector,
                                const EnumerationBlock& usingBlock) const;
  std::optional<SKYLVelaXMLElement> firstChildWithCSS(std::string_view selector) const;

  bool operator==(const SKYLVelaXMLElement& other) const { return node_ == other.node_; }
  size_t hash() const { return std::hash<const void*>{}(node_); }

 private:
  std::optional<SKYLVelaXMLElement> wrap(XMLNodePtr node) const;
  // The first element sibling at or after node whose name is tag (any
  // name without one); null when there is none.
  static XMLNodePtr elementAtOrAfter(XMLNodePtr node, std::optional<std::string_view> tag);
  static XMLNodePtr firstChildNode(XMLNodePtr node);
  static XMLNodePtr nextNode(XMLNodePtr node);
  // Points this wrapper at another node of its document, dropping what it
  // had cached.
  void moveTo(XMLNodePtr node);

  template <typename Visit>
  void forEachChildMatching(std::optional<std::string_view> tag, Visit&& visit) const {
    XMLNodePtr node = elementAtOrAfter(firstChildNode(node_), tag);
    if (!node) return;
    SKYLVelaXMLElement child(document_, node);
    for (; node; node = elementAtOrAfter(nextNode(node), tag)) {
      child.moveTo(node);
      if constexpr (std::is_same_v<std::invoke_result_t<Visit&, const SKYLVelaXMLElement&>, bool>) {
        if (!visit(std::as_const(child))) return;
      } else {
        visit(std::as_const(child));
      }
    }
  }
  XPathObjectHandle evaluate(std::string_view expression) const;

  struct Cache;
  Cache& cache() const;

  std::shared_ptr<SKYLVelaXMLDocument> document_;
  XMLNodePtr node_;
  // Values computed on first request.
  mutable std::unique_ptr<Cache> cache_;
};

}  // namespace skylark
