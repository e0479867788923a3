#include "host/gst/ID3Tag.h"

#include <gtest/gtest.h>

namespace skylark {
namespace {

std::string synchsafe(size_t n) {
  return {static_cast<char>(n >> 21 & 0x7F), static_cast<char>(n >> 14 & 0x7F),
          static_cast<char>(n >> 7 & 0x7F), static_cast<char>(n & 0x7F)};
}
std::string bigEndian(size_t n) {
  return {static_cast<char>(n >> 24), static_cast<char>(n >> 16), static_cast<char>(n >> 8),
          static_cast<char>(n)};
}

// A frame of the given version: id, size, two flag bytes, body.
std::string frame(int version, const std::string& id, const std::string& body,
                  char formatFlags = 0) {
  return id + (version == 4 ? synchsafe(body.size()) : bigEndian(body.size())) +
         std::string(1, '\0') + formatFlags + body;
}
std::string tag(int version, const std::string& frames, char flags = 0) {
  return std::string("ID3") + static_cast<char>(version) + '\0' + flags + synchsafe(frames.size()) +
         frames;
}
std::string bytes(std::initializer_list<int> values) {
  std::string out;
  for (const int v : values) out.push_back(static_cast<char>(v));
  return out;
}

TEST(ID3TagTest, ReadsUserTextFramesOfEveryEncodingAndVersion) {
  const std::string utf8 = std::string("\x03", 1) + "doc" + std::string(1, '\0') + "<VMAP/>";
  struct Case {
    std::string name;
    std::string tag;
    std::vector<ID3UserText> expected;
  };
  const Case cases[] = {
      {"v2.4 UTF-8", tag(4, frame(4, "TXXX", utf8)), {{"doc", "<VMAP/>"}}},
      {"v2.3 UTF-8", tag(3, frame(3, "TXXX", utf8)), {{"doc", "<VMAP/>"}}},
      {"Latin-1 becomes UTF-8",
       tag(4, frame(4, "TXXX", bytes({0, 'd', 0, 'c', 0xE9}))),
       {{"d", "c\xC3\xA9"}}},
      {"UTF-16 with a little-endian mark, a surrogate pair",
       tag(4,
           frame(4, "TXXX",
                 bytes({1, 0xFF, 0xFE, 'd', 0, 0, 0, 0xFF, 0xFE, 'v', 0, 0x3D, 0xD8, 0x00, 0xDE}))),
       {{"d", "v\xF0\x9F\x98\x80"}}},
      {"UTF-16BE", tag(4, frame(4, "TXXX", bytes({2, 0, 'd', 0, 0, 0, 'v'}))), {{"d", "v"}}},
      {"other frames passed over, padding ends the frames",
       tag(4, frame(4, "PRIV", "owner") + frame(4, "TXXX", utf8) + std::string(20, '\0')),
       {{"doc", "<VMAP/>"}}},
      {"two frames in order",
       tag(4, frame(4, "TXXX", utf8) + frame(4, "TXXX", bytes({3, 0, 'x'}))),
       {{"doc", "<VMAP/>"}, {"", "x"}}},
      {"a value's own terminator is not part of it",
       tag(4, frame(4, "TXXX", bytes({3, 'a', 0, 'b', 0}))),
       {{"a", "b"}}},
      {"v2.4 tag unsynchronisation, frame sizes with it",
       tag(4, frame(4, "TXXX", bytes({3, 0, 0xC3, 0xFF, 0x00, 0xA9})), static_cast<char>(0x80)),
       {{"", "\xC3\xFF\xA9"}}},
      {"v2.3 tag unsynchronisation, frame sizes without it",
       tag(3, "TXXX" + bigEndian(5) + bytes({0, 0, 3, 0, 0xC3, 0xFF, 0x00, 0xA9}),
           static_cast<char>(0x80)),
       {{"", "\xC3\xFF\xA9"}}},
      {"v2.4 data length indicator before the body",
       tag(4, frame(4, "TXXX", bytes({0, 0, 0, 3, 3, 0, 'v'}), 0x01)),
       {{"", "v"}}},
      {"a compressed frame passed over", tag(4, frame(4, "TXXX", utf8, 0x08)), {}},
      {"a frame longer than the tag ends the reading",
       tag(4, frame(4, "TXXX", utf8)).substr(0, 20),
       {}},
      {"not ID3", "ID4" + tag(4, frame(4, "TXXX", utf8)).substr(3), {}},
      {"version 2 is not read", tag(2, frame(3, "TXXX", utf8)), {}},
      {"a size that is not synchsafe", bytes({'I', 'D', '3', 4, 0, 0, 0, 0, 0x80, 0}), {}},
      {"empty", "", {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(readID3UserTexts(c.tag), c.expected) << c.name;
  }
}

}  // namespace
}  // namespace skylark
