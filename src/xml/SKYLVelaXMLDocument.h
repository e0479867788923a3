#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/DateParser.h"
#include "platform/NumberParser.h"
#include "platform/Result.h"
#include "platform/Visibility.h"
#include "xml/SKYLVelaXMLElement.h"
#include "xml/SKYLVelaXPathEnumerator.h"
#include "xml/XMLTypes.h"

namespace SKYLARK_API skylark {

// A parsed XML (or HTML) document: owns the libxml2 tree, which lives as
// long as the document or any of its elements or XPath enumerators.
//
// Parsing recovers from broken markup (a partial tree is still a
// document), reads no network and no file, and expands no entity: a
// document that declares an external entity never makes the parser read
// it, and an entity bomb is cut short by libxml2's amplification limits.
// Use a document on one thread at a time.
class SKYLVelaXMLDocument : public std::enable_shared_from_this<SKYLVelaXMLDocument> {
 public:
  static Result<std::shared_ptr<SKYLVelaXMLDocument>> XMLDocumentWithData(std::string_view data);
  // The same tree from a whole string, which libxml2 reads where it lies
  // instead of copying it first (a string's bytes end in a NUL, as its
  // in-place reading needs).
  static Result<std::shared_ptr<SKYLVelaXMLDocument>> XMLDocumentWithString(
      const std::string& data);
  static Result<std::shared_ptr<SKYLVelaXMLDocument>> HTMLDocumentWithData(std::string_view data);
  // Takes ownership of the tree (null allowed: a document without root).
  static std::shared_ptr<SKYLVelaXMLDocument> initWithDocument(XMLDocHandle document);

  SKYLVelaXMLDocument(const SKYLVelaXMLDocument&) = delete;
  SKYLVelaXMLDocument& operator=(const SKYLVelaXMLDocument&) = delete;

  std::optional<SKYLVelaXMLElement> rootElement();
  std::optional<std::string> version() const;
  // The declared encoding's IANA name, if any.
  std::optional<std::string> encodingName() const;
  XMLDocPtr xmlDocument() const { return document_.get(); }

  // Makes the default (unprefixed) namespace with this URI reachable from
  // XPath under the prefix.
  void definePrefix(std::string prefix, std::string forDefaultNamespace);
  std::optional<std::string> prefixForDefaultNamespace(std::string_view uri) const;

  std::optional<SKYLVelaXMLElement> elementWithNode(XMLNodePtr node);
  // Takes ownership of the result; null gives null.
  std::shared_ptr<SKYLVelaXPathEnumerator> enumeratorWithXPathObject(XPathObjectHandle result);

  // Forwarded to the root element (nothing without one).
  std::shared_ptr<SKYLVelaXPathEnumerator> XPath(std::string_view expression);
  void enumerateElementsWithXPath(std::string_view expression,
                                  const SKYLVelaXMLElement::EnumerationBlock& usingBlock);
  std::optional<SKYLVelaXMLElement> firstChildWithXPath(std::string_view expression);
  std::optional<SKYLVelaXPathFunctionResult> functionResultByEvaluatingXPath(
      std::string_view expression);
  std::shared_ptr<SKYLVelaXPathEnumerator> CSS(std::string_view selector);
  void enumerateElementsWithCSS(std::string_view selector,
                                const SKYLVelaXMLElement::EnumerationBlock& usingBlock);
  std::optional<SKYLVelaXMLElement> firstChildWithCSS(std::string_view selector);

  // "en_US" decimal style, and "en_US_POSIX" "yyyy-MM-dd'T'HH:mm:ssZ".
  const NumberParser& numberFormatter() const { return NumberParser::decimalStyleEnUS(); }
  const DateParser& dateFormatter() const;

 private:
  explicit SKYLVelaXMLDocument(XMLDocHandle document) : document_(std::move(document)) {}

  XMLDocHandle document_;
  std::map<std::string, std::string, std::less<>> defaultNamespaces_;
};

}  // namespace skylark
