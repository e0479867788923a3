#include "xml/SKYLVelaXMLElement.h"

#include <gtest/gtest.h>

#include "xml/SKYLVelaXMLDocument.h"

namespace skylark {
namespace {

std::shared_ptr<SKYLVelaXMLDocument> parse(std::string_view text) {
  return SKYLVelaXMLDocument::XMLDocumentWithData(text).value();
}

const char* kVMAP = R"(<vmap:VMAP xmlns:vmap="http://www.iab.net/videosuite/vmap" version="1.0">
  <vmap:AdBreak timeOffset="start" breakId="pre">
    <vmap:AdSource><vmap:VASTAdData>
      <VAST xmlns="http://www.iab.com/VAST" version="4.1">
        <Ad id="a1"><InLine><AdTitle>  First  </AdTitle></InLine></Ad>
        <ad id="a2"/>
      </VAST>
    </vmap:VASTAdData></vmap:AdSource>
  </vmap:AdBreak>
</vmap:VMAP>)";

TEST(SKYLVelaXMLElementTest, TagAndNamespaceMatching) {
  const auto doc = parse(kVMAP);
  const auto root = *doc->rootElement();
  EXPECT_EQ(root.tag(), "VMAP");
  EXPECT_EQ(root.namespacePrefix(), "vmap");
  EXPECT_EQ(root.lineNumber(), 1);

  const auto adBreak = root.firstChildWithTag("adbreak", "VMAP");
  ASSERT_TRUE(adBreak);
  EXPECT_EQ(adBreak->valueForAttribute("breakId"), "pre");
  const auto vast = adBreak->firstChildWithTag("AdSource")
                        ->firstChildWithTag("VASTAdData")
                        ->firstChildWithTag("VAST");
  ASSERT_TRUE(vast);
  // "Ad" and "ad" match alike; a namespace argument never matches an
  // element without a prefix, even one in a default namespace.
  EXPECT_EQ(vast->childrenWithTag("Ad").size(), 2u);
  EXPECT_FALSE(vast->firstChildWithTag("Ad", "vmap"));
  EXPECT_FALSE(vast->firstChildWithTag("Ad", ""));
  EXPECT_EQ(vast->namespacePrefix(), std::nullopt);
  EXPECT_EQ(vast->firstChildWithTag("AD")->attributes(),
            (std::map<std::string, std::string>{{"id", "a1"}}));
}

TEST(SKYLVelaXMLElementTest, ChildrenAtIndexesCountsEveryNodeKind) {
  const auto doc = parse("<r>\n  <a/><!-- c --><b/>text<c/></r>");
  const auto root = *doc->rootElement();
  struct Case {
    std::set<size_t> indexes;
    std::vector<std::string> tags;
  };
  const Case cases[] = {{{0}, {}}, {{1}, {"a"}}, {{2, 3}, {"b"}}, {{1, 5}, {"a", "c"}}, {{9}, {}}};
  for (const auto& c : cases) {
    std::vector<std::string> tags;
    for (const auto& e : root.childrenAtIndexes(c.indexes)) tags.push_back(e.tag());
    EXPECT_EQ(tags, c.tags);
  }
  EXPECT_EQ(root.children().size(), 3u);
  const auto textNodes = root.indexesOfChildrenPassingTest([](XMLNodePtr child, bool&) {
    return SKYLVelaXMLNodeMatchesTagInNamespace(child, "text", {});
  });
  EXPECT_EQ(textNodes, (std::set<size_t>{0, 4}));
  size_t visited = 0;
  (void)root.indexesOfChildrenPassingTest([&](XMLNodePtr, bool& stop) {
    stop = ++visited == 2;
    return true;
  });
  EXPECT_EQ(visited, 2u);
}

TEST(SKYLVelaXMLElementTest, DefaultNamespaceNeedsADefinedPrefixForXPath) {
  const auto doc = parse(kVMAP);
  const auto vast = *doc->firstChildWithXPath("//vmap:VASTAdData")->firstChildWithTag("VAST");
  EXPECT_FALSE(vast.firstChildWithXPath("v:Ad"));
  EXPECT_EQ(vast.XPath("v:Ad"), nullptr);  // an unknown prefix fails the evaluation

  doc->definePrefix("v", "http://www.iab.com/VAST");
  const auto ad = vast.firstChildWithXPath("v:Ad");
  ASSERT_TRUE(ad);
  EXPECT_EQ(ad->valueForAttribute("id"), "a1");
  // Reachable from any element inside the namespace's scope.
  const auto title = ad->firstChildWithXPath("v:InLine/v:AdTitle");
  ASSERT_TRUE(title);
  EXPECT_EQ(title->stringValue(), "  First  ");
  EXPECT_EQ(title->firstChildWithXPath("ancestor::vmap:AdBreak")->valueForAttribute("breakId"),
            "pre");
}

TEST(SKYLVelaXMLElementTest, ValuesAndSerialisation) {
  const auto doc = parse(
      "<r xmlns:x=\"urn:x\"><n>1,234.5</n><bad>12 apples</bad>"
      "<d>2024-03-01T12:30:00+0100</d><d>2024-03-01</d><e a=\"1\" x:a=\"2\"/><empty/></r>");
  const auto root = *doc->rootElement();
  EXPECT_EQ(root.firstChildWithTag("n")->numberValue(), 1234.5);
  EXPECT_EQ(root.firstChildWithTag("bad")->numberValue(), std::nullopt);
  const auto dates = root.childrenWithTag("d");
  ASSERT_EQ(dates.size(), 2u);
  ASSERT_TRUE(dates[0].dateValue());
  EXPECT_EQ(dates[0].dateValue()->time_since_epoch().count(), 1709292600000);
  EXPECT_EQ(dates[1].dateValue(), std::nullopt);
  const auto e = root.firstChildWithTag("e");
  EXPECT_EQ(e->valueForAttribute("a", "urn:x"), "2");
  EXPECT_EQ(e->valueForAttribute("missing"), std::nullopt);
  EXPECT_EQ(e->rawXMLString(), "<e a=\"1\" x:a=\"2\"/>");
  EXPECT_TRUE(root.firstChildWithTag("empty")->isBlank());
  EXPECT_EQ(root.firstChildWithTag("n"), root.children()[0]);  // equal by node
  EXPECT_NE(root.children()[0], root.children()[1]);
}

TEST(SKYLVelaXMLElementTest, XPathEnumerationAndFunctionResults) {
  const auto doc = parse("<r><b>1</b><b>2</b><b>3</b></r>");
  const auto root = *doc->rootElement();

  const auto count = root.functionResultByEvaluatingXPath("count(b)");
  ASSERT_TRUE(count);
  EXPECT_EQ(count->numericValue, 3);
  EXPECT_TRUE(count->boolValue);
  EXPECT_EQ(count->stringValue, "3");
  EXPECT_EQ(root.functionResultByEvaluatingXPath("string(b[2])")->stringValue, "2");

  std::vector<std::string> seen;
  root.enumerateElementsWithXPath("b", [&](const SKYLVelaXMLElement& e, size_t index, bool& stop) {
    seen.push_back(e.stringValue() + "@" + std::to_string(index));
    stop = index == 1;
  });
  EXPECT_EQ(seen, (std::vector<std::string>{"1@0", "2@1"}));

  const auto enumerator = root.XPath("b");
  EXPECT_EQ(enumerator->objectAtIndex(2)->stringValue(), "3");
  EXPECT_FALSE(enumerator->objectAtIndex(3));
  EXPECT_EQ(enumerator->nextObject()->stringValue(), "1");
  EXPECT_EQ(enumerator->allObjects().size(), 3u);
  EXPECT_EQ(root.XPath("count(b)")->count(), 0u);  // not a node set

  // Broken expressions give nothing, quietly.
  for (const char* broken : {"///[", "b[", "unknown:b", "f()"}) {
    EXPECT_FALSE(root.firstChildWithXPath(broken)) << broken;
    EXPECT_FALSE(root.functionResultByEvaluatingXPath(broken)) << broken;
    root.enumerateElementsWithXPath(broken, [](const auto&, size_t, bool&) { FAIL(); });
  }
  // Namespace nodes are no elements; they are passed over.
  EXPECT_TRUE(root.XPath("namespace::*")->allObjects().empty());
  EXPECT_EQ(root.firstChildWithXPath("b/text()")->stringValue(), "1");
}

// Text and attribute values are read in place when they are one text
// node; every other shape goes through libxml2 and must read the same.
TEST(SKYLVelaXMLElementTest, ValuesReadInPlaceMatchLibxml) {
  const auto doc = parse(R"(<!DOCTYPE r [<!ATTLIST e d CDATA "default">]>
<r xmlns:n="urn:n">
  <e>plain</e>
  <e><![CDATA[https://a.example/?x=1&y=2]]></e>
  <e>
    <![CDATA[cdata]]>
  </e>
  <e>a &amp; b</e>
  <e>one<i>two</i>three</e>
  <e/>
  <e a="v" n:b="namespaced" c="x &amp; y" d="given"/>
</r>)");
  const auto elements = doc->rootElement()->childrenWithTag("e");
  ASSERT_EQ(elements.size(), 7u);
  const char* texts[] = {
      "plain", "https://a.example/?x=1&y=2", "\n    cdata\n  ", "a & b", "onetwothree", "", ""};
  for (size_t i = 0; i < elements.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(elements[i].stringView(), texts[i]);
    EXPECT_EQ(elements[i].stringValue(), texts[i]);
  }
  struct Attribute {
    const char* name;
    std::optional<std::string> value;
  };
  const Attribute attributes[] = {
      {"a", "v"}, {"b", "namespaced"}, {"c", "x & y"}, {"d", "given"}, {"missing", std::nullopt}};
  const auto& withAttributes = elements[6];
  for (const auto& attribute : attributes) {
    EXPECT_EQ(withAttributes.valueForAttribute(attribute.name), attribute.value) << attribute.name;
  }
  // A default from the document type, on an element that does not write it.
  EXPECT_EQ(elements[0].valueForAttribute("d"), "default");
  EXPECT_EQ(withAttributes.copyAttributes(), withAttributes.attributes());
  EXPECT_EQ(withAttributes.attributes().at("c"), "x & y");
}

}  // namespace
}  // namespace skylark
