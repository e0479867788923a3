#include "xml/SKYLVelaXPathFromCSS.h"

#include <gtest/gtest.h>

#include "xml/SKYLVelaXMLDocument.h"

namespace skylark {
namespace {

std::string hasClass(const std::string& test, const std::string& name) {
  return test + "[contains(concat(' ',normalize-space(@class),' '),' " + name + " ')]";
}

TEST(SKYLVelaXPathFromCSSTest, Translations) {
  struct Case {
    std::string css;
    std::string xpath;
  };
  const Case cases[] = {
      {"div", ".//div"},
      {"div > p", ".//div/p"},
      {"div p", ".//div/descendant::p"},
      {"a, b", ".//a | .//b"},
      {" a ,, b ", ".//a | .//b"},
      {"a + b", ".//a/following-sibling::*[1]/self::b"},
      {"a ~ b", ".//a/following-sibling::b"},
      {"div *", ".//div//*"},
      {"*", ".//*"},
      {"#main", ".//*[@id = 'main']"},
      {"div.note", ".//div" + hasClass("", "note")},
      {".a.b", ".//" + hasClass("*", "a") + hasClass("*", "b")},
      {"a[href]", ".//a[@href]"},
      // The id is found in the whole selector over the token's length: the
      // second token's id reads from the first token's text.
      {"div#a span#b", ".//div[@id = 'a']/descendant::span[@id = '#']"},
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(SKYLVelaXPathFromCSS(c.css), c.xpath) << c.css;
}

TEST(SKYLVelaXPathFromCSSTest, SelectorsFindElements) {
  const auto doc = SKYLVelaXMLDocument::XMLDocumentWithData(
                       "<r><div id=\"main\"><p class=\"x  y\">1</p><p>2</p></div>"
                       "<a href=\"h\"/><b/><a/></r>")
                       .value();
  auto texts = [&](const char* css) {
    std::vector<std::string> out;
    const auto enumerator = doc->CSS(css);
    if (!enumerator) return out;
    for (const auto& e : enumerator->allObjects()) out.push_back(e.tag() + e.stringValue());
    return out;
  };
  EXPECT_EQ(texts("p.y"), std::vector<std::string>{"p1"});
  EXPECT_EQ(texts("div > p"), (std::vector<std::string>{"p1", "p2"}));
  EXPECT_EQ(texts("#main p"), (std::vector<std::string>{"p1", "p2"}));
  EXPECT_EQ(texts("a[href]"), std::vector<std::string>{"a"});
  EXPECT_EQ(texts("a, b"), (std::vector<std::string>{"a", "b", "a"}));
  EXPECT_EQ(texts("a + b"), std::vector<std::string>{"b"});
  EXPECT_EQ(doc->firstChildWithCSS("p:first-child"), std::nullopt);  // unsupported: no match
}

}  // namespace
}  // namespace skylark
