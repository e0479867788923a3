// Bytes to the XML document parser, then every read an ad parser makes:
// each element's tag, namespace, attributes, text, number and date values,
// serialisation, dictionary form, and a few XPath and CSS queries.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "timeline/SKYLAdBuilderDictionaryFromXMLElement.h"
#include "xml/SKYLVelaXMLDocument.h"

namespace {

using skylark::SKYLVelaXMLElement;

void walk(const SKYLVelaXMLElement& element, int depth) {
  (void)element.tag();
  (void)element.namespacePrefix();
  (void)element.lineNumber();
  for (const auto& [name, value] : element.attributes()) {
    (void)element.valueForAttribute(name);
  }
  (void)element.stringValue();
  (void)element.numberValue();
  (void)element.dateValue();
  (void)element.rawXMLString();
  (void)element.firstChildWithTag("Ad", "vmap");
  (void)element.childrenAtIndexes({0, 1, 2});
  (void)element.parent();
  (void)element.nextSibling();
  if (depth < 4) {
    (void)element.firstChildWithXPath("./*[1]");
    (void)element.functionResultByEvaluatingXPath("count(.//*)");
  }
  for (const auto& child : element.children()) walk(child, depth + 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  auto parsed = skylark::SKYLVelaXMLDocument::XMLDocumentWithData(bytes);
  if (!parsed.ok()) return 0;
  auto& document = parsed.value();
  document->definePrefix("v", "http://www.iab.com/VAST");
  const auto root = document->rootElement();
  if (!root) return 0;
  walk(*root, 0);
  (void)skylark::SKYLAdBuilderDictionaryFromXMLElement(*root);
  for (const char* xpath :
       {"//vmap:AdBreak", "//v:Ad | //Ad", "//@*", "namespace::*", "//text()"}) {
    if (auto enumerator = document->XPath(xpath)) {
      for (const auto& element : enumerator->allObjects()) (void)element.stringValue();
    }
  }
  for (const char* css : {"Ad > InLine", "#a .b [c]", "Tracking + Tracking, *"}) {
    (void)document->firstChildWithCSS(css);
  }
  return 0;
}
