#include "xml/SKYLVelaXMLDocument.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <gtest/gtest.h>

#include "xml/SKYLVelaXMLError.h"

namespace skylark {
namespace {

std::shared_ptr<SKYLVelaXMLDocument> parse(std::string_view text) {
  auto result = SKYLVelaXMLDocument::XMLDocumentWithData(text);
  EXPECT_TRUE(result.ok()) << text;
  return result.ok() ? result.value() : nullptr;
}

TEST(SKYLVelaXMLDocumentTest, ParsesVersionEncodingAndRoot) {
  const auto doc = parse("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<VMAP><AdBreak/></VMAP>");
  EXPECT_EQ(doc->version(), "1.0");
  EXPECT_EQ(doc->encodingName(), "UTF-8");
  ASSERT_TRUE(doc->rootElement());
  EXPECT_EQ(doc->rootElement()->tag(), "VMAP");
  EXPECT_EQ(parse("<a/>")->encodingName(), std::nullopt);
}

TEST(SKYLVelaXMLDocumentTest, RecoversAPartialTreeFromBrokenMarkup) {
  const auto doc = parse("<VAST><Ad id=\"1\"><InLine><AdTitle>t</AdTitle>");
  ASSERT_TRUE(doc->rootElement());
  EXPECT_EQ(doc->rootElement()->firstChildWithTag("Ad")->valueForAttribute("id"), "1");
}

TEST(SKYLVelaXMLDocumentTest, FailureBuildsTheErrorFromLibxmlAndClearsIt) {
  // Only a missing tree is a failure; recovery turns most broken input into
  // a (possibly rootless) document.
  const auto result = SKYLVelaXMLDocument::XMLDocumentWithData("");
  ASSERT_FALSE(result.ok());
  EXPECT_EQ(result.error().domain, "SKYLVelaXMLErrorDomain");
  EXPECT_EQ(result.error().code, XML_ERR_DOCUMENT_EMPTY);
  ASSERT_TRUE(result.error().failureReason);
  EXPECT_EQ(*result.error().failureReason, "Document is empty");
  EXPECT_EQ(xmlGetLastError(), nullptr);
}

TEST(SKYLVelaXMLDocumentTest, AStringReadInPlaceGivesWhatItsBytesGive) {
  const std::string inputs[] = {
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><VMAP><AdBreak id=\"1\"/></VMAP>",
      "<VAST><Ad id=\"1\"><InLine><AdTitle><![CDATA[t]]></AdTitle>",  // recovered
      "{ vast: null }",                                               // no root
      "",                                                             // no tree
  };
  for (const auto& input : inputs) {
    const auto copied = SKYLVelaXMLDocument::XMLDocumentWithData(input);
    const auto inPlace = SKYLVelaXMLDocument::XMLDocumentWithString(input);
    ASSERT_EQ(inPlace.ok(), copied.ok()) << input;
    if (!copied.ok()) {
      EXPECT_EQ(inPlace.error().code, copied.error().code) << input;
      continue;
    }
    const auto root = copied.value()->rootElement();
    const auto rootInPlace = inPlace.value()->rootElement();
    ASSERT_EQ(rootInPlace.has_value(), root.has_value()) << input;
    if (root) {
      EXPECT_EQ(rootInPlace->rawXMLString(), root->rawXMLString()) << input;
    }
  }
}

TEST(SKYLVelaXMLErrorTest, ErrorCarriesTheLibxmlCodeAndTrimmedMessage) {
  xmlResetLastError();
  const char broken[] = "<a><b></a>";
  EXPECT_EQ(xmlReadMemory(broken, sizeof broken - 1, "", nullptr, XML_PARSE_NOERROR), nullptr);
  const xmlError* last = xmlGetLastError();
  ASSERT_NE(last, nullptr);
  const int code = last->code;
  const SKYLError error = SKYLVelaXMLSetErrorFromXMLErrorPtr(last);
  EXPECT_EQ(error.domain, "SKYLVelaXMLErrorDomain");
  EXPECT_EQ(error.code, code);
  ASSERT_TRUE(error.failureReason);
  EXPECT_FALSE(error.failureReason->empty());
  EXPECT_NE(error.failureReason->back(), '\n');
  EXPECT_TRUE(error.localizedDescription.empty());
  EXPECT_EQ(xmlGetLastError(), nullptr);
}

TEST(SKYLVelaXMLDocumentTest, TextThatIsNotXMLRecoversToADocumentWithoutRoot) {
  const auto result = SKYLVelaXMLDocument::XMLDocumentWithData("{ vast: null }");
  ASSERT_TRUE(result.ok());
  EXPECT_FALSE(result.value()->rootElement());
  EXPECT_FALSE(result.value()->firstChildWithXPath("//*"));
}

TEST(SKYLVelaXMLDocumentTest, HTMLDocumentsParseLeniently) {
  auto result = SKYLVelaXMLDocument::HTMLDocumentWithData("<p class=x>hi<br>there");
  ASSERT_TRUE(result.ok());
  EXPECT_EQ(result.value()->rootElement()->tag(), "html");
  EXPECT_EQ(result.value()->firstChildWithCSS("p.x")->stringValue(), "hithere");
}

TEST(SKYLVelaXMLDocumentTest, ElementsKeepTheTreeAliveAfterTheDocumentIsReleased) {
  std::optional<SKYLVelaXMLElement> child;
  std::shared_ptr<SKYLVelaXPathEnumerator> enumerator;
  {
    auto doc = parse("<r><c>kept</c><c>too</c></r>");
    child = doc->rootElement()->firstChildWithTag("c");
    enumerator = doc->XPath("//c");
  }
  EXPECT_EQ(child->stringValue(), "kept");
  EXPECT_EQ(enumerator->allObjects().size(), 2u);
  EXPECT_EQ(child->parent()->tag(), "r");
}

}  // namespace
}  // namespace skylark
