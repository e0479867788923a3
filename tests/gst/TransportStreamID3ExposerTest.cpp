#include "host/gst/TransportStreamID3Exposer.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace skylark {
namespace {

constexpr size_t kPacket = 188;

std::string bytes(std::initializer_list<int> values) {
  std::string out;
  for (const int v : values) out.push_back(static_cast<char>(v));
  return out;
}

// A section (table id to the end of its body) with its length and CRC.
std::string section(int tableId, const std::string& body) {
  const size_t length = body.size() + 4;
  std::string out =
      bytes({tableId, 0xB0 | static_cast<int>(length >> 8), static_cast<int>(length & 0xFF)}) +
      body;
  const uint32_t crc = mpegSectionCRC(out);
  return out + bytes({static_cast<int>(crc >> 24), static_cast<int>(crc >> 16 & 0xFF),
                      static_cast<int>(crc >> 8 & 0xFF), static_cast<int>(crc & 0xFF)});
}

// One packet of pid starting a unit with this section, padded with 0xFF.
std::string packet(int pid, const std::string& payload, bool startsUnit = true) {
  std::string out = bytes({0x47, (startsUnit ? 0x40 : 0) | pid >> 8, pid & 0xFF, 0x10}) +
                    (startsUnit ? std::string(1, '\0') : "") + payload;
  out.resize(kPacket, '\xFF');
  return out;
}

const std::string kAssociation =
    packet(0, section(0x00, bytes({0, 1, 0xC1, 0, 0, 0, 0, 0xE0, 0x10, 0, 1, 0xE0, 0x20})));

std::string programMap(const std::string& streams) {
  return packet(0x20, section(0x02, bytes({0, 1, 0xC1, 0, 0, 0xE1, 0x00, 0xF0, 0}) + streams));
}
std::string stream(int type, int pid, const std::string& descriptors) {
  return bytes({type, 0xE0 | pid >> 8, pid & 0xFF, 0xF0, static_cast<int>(descriptors.size())}) +
         descriptors;
}
const std::string kVideo = stream(0x1B, 0x100, "");
const std::string kRegistrationID3 = bytes({0x05, 4}) + "ID3 ";
const std::string kMetadataID3 =
    bytes({0x26, 13, 0xFF, 0xFF}) + "ID3 " + bytes({0xFF}) + "ID3 " + bytes({0, 0x0F});

std::string fed(TransportStreamID3Exposer& exposer, const std::string& data, size_t chunk) {
  std::string out;
  for (size_t at = 0; at < data.size(); at += chunk) out += exposer.feed(data.substr(at, chunk));
  return out;
}

TEST(TransportStreamID3ExposerTest, RewritesTheID3StreamOfEachProgramMapAndNothingElse) {
  struct Case {
    std::string name;
    std::string streams;
    std::string expected;  // the streams after; empty when the packet is left alone
    std::set<uint16_t> pids;
  };
  const Case cases[] = {
      {"registration ID3",
       kVideo + stream(0x15, 0x1F0, kRegistrationID3),
       kVideo + stream(0x06, 0x1F0, bytes({0x05, 4}) + "KLVA"),
       {0x1F0}},
      {"metadata descriptor only: it becomes the registration",
       kVideo + stream(0x15, 0x1F0, kMetadataID3),
       kVideo + stream(0x06, 0x1F0, bytes({0x05, 13}) + "KLVA" + kMetadataID3.substr(6)),
       {0x1F0}},
      {"both: the registration is rewritten",
       stream(0x15, 0x1F1, kMetadataID3 + kRegistrationID3) + kVideo,
       stream(0x06, 0x1F1, kMetadataID3 + bytes({0x05, 4}) + "KLVA") + kVideo,
       {0x1F1}},
      {"timed metadata that is not ID3",
       kVideo + stream(0x15, 0x1F0, bytes({0x05, 4}) + "KLVA"),
       "",
       {}},
      {"ID3 registration on another stream type", stream(0x06, 0x1F0, kRegistrationID3), "", {}},
      {"a descriptor running past its stream",
       kVideo + stream(0x15, 0x1F0, kRegistrationID3).substr(0, 9),
       "",
       {}},
  };
  for (const auto& c : cases) {
    const std::string filler = packet(0x100, "video", false);
    const std::string input = kAssociation + programMap(c.streams) + filler;
    const std::string expected =
        kAssociation + (c.expected.empty() ? programMap(c.streams) : programMap(c.expected)) +
        filler;
    for (const size_t chunk :
         {size_t{1}, size_t{100}, kPacket - 1, kPacket, kPacket + 1, size_t{4096}}) {
      TransportStreamID3Exposer exposer;
      EXPECT_EQ(fed(exposer, input, chunk), expected) << c.name << ", chunks of " << chunk;
      EXPECT_EQ(exposer.metadataPIDs(), c.pids) << c.name;
    }
  }
}

TEST(TransportStreamID3ExposerTest, HoldsBackAPartialPacketAndPassesUnsyncedBytes) {
  TransportStreamID3Exposer exposer;
  const std::string program = programMap(kVideo + stream(0x15, 0x1F0, kRegistrationID3));
  EXPECT_EQ(exposer.feed(kAssociation + program.substr(0, 100)), kAssociation);
  const std::string rest = exposer.feed(program.substr(100));
  EXPECT_EQ(rest.size(), kPacket);
  EXPECT_EQ(mpegSectionCRC(rest.substr(5, 3 + static_cast<uint8_t>(rest[7]))), 0u)
      << "a section with its CRC checks to zero";
  // Bytes out of step go on as they came; a flush drops what waits.
  EXPECT_EQ(exposer.feed("junk"), "junk");
  EXPECT_EQ(exposer.feed(program.substr(0, 50)), "");
  exposer.reset();
  EXPECT_EQ(exposer.feed(program.substr(50, 10)), program.substr(50, 10));
}

TEST(TransportStreamID3ExposerTest, ExposesTheTestStreamsMetadata) {
  std::ifstream file(std::string(SKYLARK_TEST_STREAM_DIR) + "/id3-seg00009.ts", std::ios::binary);
  ASSERT_TRUE(file) << "the test stream has no ID3 segments";
  std::stringstream data;
  data << file.rdbuf();
  TransportStreamID3Exposer exposer;
  const std::string out = fed(exposer, data.str(), 8192);
  EXPECT_EQ(out.size(), data.str().size());
  EXPECT_EQ(exposer.metadataPIDs(), std::set<uint16_t>{0x1F0});
}

}  // namespace
}  // namespace skylark
