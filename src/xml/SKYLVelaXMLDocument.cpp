#include "xml/SKYLVelaXMLDocument.h"

#include <climits>
#include <mutex>

#include <libxml/HTMLparser.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>

#include "xml/DocumentLimits.h"
#include "xml/SKYLVelaXMLError.h"

namespace skylark {
namespace {

// Recover, no error output, no warning output.
constexpr int kParseOptions = 97;

void initializeLibxml() {
  static std::once_flag once;
  std::call_once(once, [] { xmlInitParser(); });
}

enum class Syntax { xml, html };
// Whether libxml2 may read the bytes where they lie (they end in a NUL)
// or must copy them into a buffer of its own first.
enum class Reading { inPlace, copied };

struct ParserContextFree {
  void operator()(xmlParserCtxt* context) const { xmlFreeParserCtxt(context); }
};

xmlDocPtr read(std::string_view data, Syntax syntax, Reading reading) {
  const auto size = static_cast<int>(data.size());
  if (syntax == Syntax::html) return htmlReadMemory(data.data(), size, "", nullptr, kParseOptions);
  if (reading == Reading::copied)
    return xmlReadMemory(data.data(), size, "", nullptr, kParseOptions);
  // The tree keeps a reference to the context's dictionary, not to the
  // context: it goes at once.
  std::unique_ptr<xmlParserCtxt, ParserContextFree> context(xmlNewParserCtxt());
  if (!context) return nullptr;
  return xmlCtxtReadMemory(context.get(), data.data(), size, "", nullptr, kParseOptions);
}

Result<std::shared_ptr<SKYLVelaXMLDocument>> parse(std::string_view data, Syntax syntax,
                                                   Reading reading) {
  initializeLibxml();
  if (data.size() > static_cast<size_t>(INT_MAX)) {
    return SKYLError(std::string(kSKYLVelaXMLErrorDomain), XML_ERR_NO_MEMORY)
        .withFailureReason("Document too large");
  }
  if (!startTagsWithinAttributeLimit(data, kMaxAttributesPerElement)) {
    return SKYLError(std::string(kSKYLVelaXMLErrorDomain), XML_ERR_ATTRIBUTE_REDEFINED)
        .withFailureReason("An element has more than " + std::to_string(kMaxAttributesPerElement) +
                           " attributes");
  }
  xmlResetLastError();
  XMLDocHandle tree(read(data, syntax, reading));
  if (!tree) {
    if (const xmlError* error = xmlGetLastError()) {
      return SKYLVelaXMLSetErrorFromXMLErrorPtr(error);
    }
    return SKYLError(std::string(kSKYLVelaXMLErrorDomain), XML_ERR_DOCUMENT_EMPTY)
        .withFailureReason("Document is empty");
  }
  // Entities stay unexpanded in the tree; refuse a document whose reading
  // would expand them far beyond its own size.
  const size_t budget = entityExpansionBudget(data.size());
  if (entityExpansionBytes(tree.get(), budget) > budget) {
    return SKYLError(std::string(kSKYLVelaXMLErrorDomain), XML_ERR_ENTITY_LOOP)
        .withFailureReason("Entity references expand to more than " + std::to_string(budget) +
                           " bytes");
  }
  return SKYLVelaXMLDocument::initWithDocument(std::move(tree));
}

}  // namespace

Result<std::shared_ptr<SKYLVelaXMLDocument>> SKYLVelaXMLDocument::XMLDocumentWithData(
    std::string_view data) {
  return parse(data, Syntax::xml, Reading::copied);
}

Result<std::shared_ptr<SKYLVelaXMLDocument>> SKYLVelaXMLDocument::XMLDocumentWithString(
    const std::string& data) {
  return parse(data, Syntax::xml, Reading::inPlace);
}

Result<std::shared_ptr<SKYLVelaXMLDocument>> SKYLVelaXMLDocument::HTMLDocumentWithData(
    std::string_view data) {
  return parse(data, Syntax::html, Reading::copied);
}

void XMLDocFree::operator()(_xmlDoc* document) const { xmlFreeDoc(document); }
void XPathObjectFree::operator()(_xmlXPathObject* object) const { xmlXPathFreeObject(object); }

std::shared_ptr<SKYLVelaXMLDocument> SKYLVelaXMLDocument::initWithDocument(XMLDocHandle document) {
  return std::shared_ptr<SKYLVelaXMLDocument>(new SKYLVelaXMLDocument(std::move(document)));
}

std::optional<SKYLVelaXMLElement> SKYLVelaXMLDocument::rootElement() {
  if (!document_) return std::nullopt;
  return elementWithNode(xmlDocGetRootElement(document_.get()));
}

std::optional<std::string> SKYLVelaXMLDocument::version() const {
  if (!document_ || !document_->version) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(document_->version));
}

std::optional<std::string> SKYLVelaXMLDocument::encodingName() const {
  if (!document_ || !document_->encoding) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(document_->encoding));
}

void SKYLVelaXMLDocument::definePrefix(std::string prefix, std::string forDefaultNamespace) {
  defaultNamespaces_[std::move(forDefaultNamespace)] = std::move(prefix);
}

std::optional<std::string> SKYLVelaXMLDocument::prefixForDefaultNamespace(
    std::string_view uri) const {
  const auto found = defaultNamespaces_.find(uri);
  if (found == defaultNamespaces_.end()) return std::nullopt;
  return found->second;
}

std::optional<SKYLVelaXMLElement> SKYLVelaXMLDocument::elementWithNode(XMLNodePtr node) {
  // A namespace declaration in a node set is an xmlNs, not a node.
  if (!node || node->type == XML_NAMESPACE_DECL) return std::nullopt;
  return SKYLVelaXMLElement(shared_from_this(), node);
}

std::shared_ptr<SKYLVelaXPathEnumerator> SKYLVelaXMLDocument::enumeratorWithXPathObject(
    XPathObjectHandle result) {
  if (!result) return nullptr;
  return std::make_shared<SKYLVelaXPathEnumerator>(shared_from_this(), std::move(result));
}

std::shared_ptr<SKYLVelaXPathEnumerator> SKYLVelaXMLDocument::XPath(std::string_view expression) {
  auto root = rootElement();
  return root ? root->XPath(expression) : nullptr;
}

void SKYLVelaXMLDocument::enumerateElementsWithXPath(
    std::string_view expression, const SKYLVelaXMLElement::EnumerationBlock& usingBlock) {
  if (auto root = rootElement()) root->enumerateElementsWithXPath(expression, usingBlock);
}

std::optional<SKYLVelaXMLElement> SKYLVelaXMLDocument::firstChildWithXPath(
    std::string_view expression) {
  auto root = rootElement();
  return root ? root->firstChildWithXPath(expression) : std::nullopt;
}

std::optional<SKYLVelaXPathFunctionResult> SKYLVelaXMLDocument::functionResultByEvaluatingXPath(
    std::string_view expression) {
  auto root = rootElement();
  return root ? root->functionResultByEvaluatingXPath(expression) : std::nullopt;
}

std::shared_ptr<SKYLVelaXPathEnumerator> SKYLVelaXMLDocument::CSS(std::string_view selector) {
  auto root = rootElement();
  return root ? root->CSS(selector) : nullptr;
}

void SKYLVelaXMLDocument::enumerateElementsWithCSS(
    std::string_view selector, const SKYLVelaXMLElement::EnumerationBlock& usingBlock) {
  if (auto root = rootElement()) root->enumerateElementsWithCSS(selector, usingBlock);
}

std::optional<SKYLVelaXMLElement> SKYLVelaXMLDocument::firstChildWithCSS(
    std::string_view selector) {
  auto root = rootElement();
  return root ? root->firstChildWithCSS(selector) : std::nullopt;
}

const DateParser& SKYLVelaXMLDocument::dateFormatter() const {
  // Never destroyed: a parse on another thread may run while the process exits.
  static const auto* formatter =
      DateParser::create("en_US_POSIX", u"yyyy-MM-dd'T'HH:mm:ssZ").release();
  return *formatter;
}

}  // namespace skylark
