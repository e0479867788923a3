// Ad documents come from the network: none of these may read local files,
// exhaust memory or run for long.
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>

#include <gtest/gtest.h>

#include "timeline/SKYLAdBuilderDictionaryFromXMLElement.h"
#include "xml/SKYLVelaXMLDocument.h"

namespace skylark {
namespace {

using Clock = std::chrono::steady_clock;

// Everything a parser of ours reads from a document.
size_t readEverything(const SKYLVelaXMLElement& element, std::string& seen, int depth = 0) {
  seen += element.stringValue();
  seen += element.rawXMLString();
  for (const auto& [name, value] : element.attributes()) seen += name + "=" + value;
  size_t count = 1;
  for (const auto& child : element.children()) count += readEverything(child, seen, depth + 1);
  return count;
}

TEST(HostileDocumentsTest, ExternalEntityIsNeverRead) {
  const std::string path = ::testing::TempDir() + "skylark-xxe-secret.txt";
  std::ofstream(path) << "SECRET-7f3a9";
  const std::string doc = "<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY e SYSTEM \"file://" + path +
                          "\"><!ENTITY p SYSTEM \"" + path +
                          "\">]><r a=\"&e;\"><x>&e;</x><y>&p;</y></r>";
  auto parsed = SKYLVelaXMLDocument::XMLDocumentWithData(doc);
  std::remove(path.c_str());
  if (!parsed.ok()) return;  // refusing is fine too
  ASSERT_TRUE(parsed.value()->rootElement());
  std::string seen;
  readEverything(*parsed.value()->rootElement(), seen);
  EXPECT_EQ(seen.find("SECRET-7f3a9"), std::string::npos);
  EXPECT_FALSE(parsed.value()->firstChildWithXPath("//x[contains(., 'SECRET')]"));
}

TEST(HostileDocumentsTest, EntityBombIsBoundedInTimeAndMemory) {
  std::string doc = "<?xml version=\"1.0\"?><!DOCTYPE lolz [<!ENTITY lol0 \"lol\">";
  for (int i = 1; i <= 12; ++i) {
    doc += "<!ENTITY lol" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) doc += "&lol" + std::to_string(i - 1) + ";";
    doc += "\">";
  }
  doc += "]><lolz a=\"&lol12;\"><x>&lol12;</x></lolz>";
  const auto start = Clock::now();
  auto parsed = SKYLVelaXMLDocument::XMLDocumentWithData(doc);
  if (parsed.ok() && parsed.value()->rootElement()) {
    std::string seen;
    readEverything(*parsed.value()->rootElement(), seen);
    EXPECT_LT(seen.size(), 1u << 20);
  }
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
}

TEST(HostileDocumentsTest, DeepNestingIsBounded) {
  constexpr int kDepth = 100000;
  std::string doc;
  doc.reserve(kDepth * 7);
  for (int i = 0; i < kDepth; ++i) doc += "<a>";
  for (int i = 0; i < kDepth; ++i) doc += "</a>";
  const auto start = Clock::now();
  auto parsed = SKYLVelaXMLDocument::XMLDocumentWithData(doc);
  if (parsed.ok() && parsed.value()->rootElement()) {
    const auto root = *parsed.value()->rootElement();
    std::string seen;
    EXPECT_LE(readEverything(root, seen), 1000u);
    (void)SKYLAdBuilderDictionaryFromXMLElement(root);
    EXPECT_TRUE(parsed.value()->XPath("//a"));
  }
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
}

TEST(HostileDocumentsTest, BadBytesAndBrokenQueriesStayOffStandardError) {
  auto parsed = SKYLVelaXMLDocument::XMLDocumentWithData("<a b=\"\xff\">\xff\xfe\x01</a>");
  ASSERT_TRUE(parsed.ok());
  const auto root = parsed.value()->rootElement();
  ASSERT_TRUE(root);
  ::testing::internal::CaptureStderr();
  (void)root->rawXMLString();
  (void)root->firstChildWithXPath("///[");
  (void)root->functionResultByEvaluatingXPath("nope(");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace skylark
