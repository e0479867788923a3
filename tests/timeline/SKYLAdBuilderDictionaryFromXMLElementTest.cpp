#include "timeline/SKYLAdBuilderDictionaryFromXMLElement.h"

#include <gtest/gtest.h>

#include "xml/SKYLVelaXMLDocument.h"

namespace skylark {
namespace {

TEST(SKYLAdBuilderDictionaryFromXMLElementTest, KeepsTagsAttributesAndLeafText) {
  const auto doc = SKYLVelaXMLDocument::XMLDocumentWithData(
                       "<Extension type=\"geo\">lost<Country code=\"us\">  US  </Country>"
                       "also lost<Nested><Leaf/></Nested></Extension>")
                       .value();
  const SKYLXMLElementDictionary expected{
      "Extension",
      {{"type", "geo"}},
      std::vector<SKYLXMLElementDictionary>{
          {"Country", {{"code", "us"}}, std::string("  US  ")},
          {"Nested", {}, std::vector<SKYLXMLElementDictionary>{{"Leaf", {}, std::string()}}},
      }};
  EXPECT_EQ(SKYLAdBuilderDictionaryFromXMLElement(*doc->rootElement()), expected);
  EXPECT_EQ(kSKYLXMLElementTagKey, "tag");
  EXPECT_EQ(kSKYLXMLElementAttributesKey, "attributes");
  EXPECT_EQ(kSKYLXMLElementContentKey, "content");
}

}  // namespace
}  // namespace skylark
