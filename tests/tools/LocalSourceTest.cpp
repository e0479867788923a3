#include "LocalSource.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "UTF8Text.h"

namespace skylark::tool {
namespace {

using namespace std::chrono_literals;

TEST(LocalSourceTest, ReadsAFileWholeWithinTheLimit) {
  const std::string path = ::testing::TempDir() + "skylark-local-source.xml";
  std::ofstream(path, std::ios::binary) << "<VMAP/>";
  const auto read = readLocalSource(path, 7, 1s);
  ASSERT_TRUE(read.ok()) << read.error().localizedDescription;
  EXPECT_EQ(read.value(), "<VMAP/>");
  const auto over = readLocalSource(path, 6, 1s);
  ASSERT_FALSE(over.ok());
  EXPECT_NE(over.error().localizedDescription.find("larger than"), std::string::npos);
  std::remove(path.c_str());
}

// What cannot be read says why; nothing endless is read past the limit,
// and a FIFO nobody writes to waits no longer than the time-out.
TEST(LocalSourceTest, WhatCannotBeReadSaysWhy) {
  const std::string fifo = ::testing::TempDir() + "skylark-local-source.fifo";
  ::unlink(fifo.c_str());
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  struct Case {
    std::string path;
    std::string why;
  };
  const Case cases[] = {
      {"/nonexistent/doc.xml", "could not be read: No such file or directory"},
      {::testing::TempDir(), "could not be read: it is a directory"},
      {"/dev/zero", "could not be read: it is larger than 1 MiB"},
      {fifo, "could not be read: it sent no end within 0.05 s"},
  };
  for (const auto& c : cases) {
    const auto read = readLocalSource(c.path, 1u << 20, 50ms);
    ASSERT_FALSE(read.ok()) << c.path;
    EXPECT_EQ(read.error().domain, "NSCocoaErrorDomain");
    EXPECT_EQ(read.error().code, 260);
    EXPECT_NE(read.error().localizedDescription.find(c.why), std::string::npos)
        << read.error().localizedDescription;
  }
  ::unlink(fifo.c_str());
}

TEST(UTF8TextTest, IllFormedSequencesBecomeReplacementCharacters) {
  const std::string r = "\xEF\xBF\xBD";
  struct Case {
    std::string in, out;
  };
  const Case cases[] = {
      {"plain", "plain"},
      {"caf\xC3\xA9 \xF0\x9F\x8E\xAC", "caf\xC3\xA9 \xF0\x9F\x8E\xAC"},  // kept as they are
      {"T\xFF\xFE", "T" + r + r},                                        // stray bytes
      {"\xC3", r},                                                       // truncated at the end
      {"\xE2\x82x", r + "x"},                                            // truncated inside
      {"\xC0\xAF", r + r},                                               // overlong
      {"\xED\xA0\x80", r + r + r},                                       // a surrogate
      {"\xF4\x90\x80\x80", r + r + r + r},                               // past U+10FFFF
  };
  for (const auto& c : cases) EXPECT_EQ(validUTF8(c.in), c.out) << c.in;
}

}  // namespace
}  // namespace skylark::tool
