#include "host/gst/TransportStreamID3Exposer.h"

#include <algorithm>
#include <array>
#include <utility>

namespace skylark {
namespace {

constexpr size_t kPacketSize = 188;
constexpr char kSyncByte = 0x47;
constexpr uint8_t kTimedMetadataStreamType = 0x15;
constexpr uint8_t kPrivateDataStreamType = 0x06;
constexpr uint8_t kRegistrationDescriptor = 0x05;
constexpr uint8_t kMetadataDescriptor = 0x26;
constexpr uint8_t kProgramMapTable = 0x02;

uint8_t u8(const char* data, size_t at) { return static_cast<uint8_t>(data[at]); }
uint16_t pidOf(const char* packet) { return (u8(packet, 1) & 0x1F) << 8 | u8(packet, 2); }
bool startsUnit(const char* packet) { return u8(packet, 1) & 0x40; }

// Where the packet's payload starts, or 0 when it has none.
size_t payloadStart(const char* packet) {
  const uint8_t control = u8(packet, 3) >> 4 & 0x3;
  if (!(control & 0x1)) return 0;
  size_t at = 4;
  if (control & 0x2) at += 1 + u8(packet, 4);
  return at < kPacketSize ? at : 0;
}

// The section that starts in this packet (after the pointer field) when all
// of it is inside the packet: its offset and length, CRC included.
bool sectionIn(const char* packet, size_t& offset, size_t& length) {
  if (!startsUnit(packet)) return false;
  const size_t payload = payloadStart(packet);
  if (!payload) return false;
  offset = payload + 1 + u8(packet, payload);
  if (offset + 3 > kPacketSize) return false;
  length = 3 + ((u8(packet, offset + 1) & 0x0F) << 8 | u8(packet, offset + 2));
  return length >= 16 && offset + length <= kPacketSize;
}

// Whether a descriptor names ID3: a registration "ID3 ", or a metadata
// descriptor whose metadata format is 0xFF followed by "ID3 ".
bool namesID3(const char* descriptor) {
  const uint8_t tag = u8(descriptor, 0), length = u8(descriptor, 1);
  const std::string_view body(descriptor + 2, length);
  if (tag == kRegistrationDescriptor) return body.substr(0, 4) == "ID3 ";
  if (tag != kMetadataDescriptor || body.size() < 2) return false;
  // The application format, with its identifier when it is 0xFFFF.
  const size_t formatAt = (u8(body.data(), 0) == 0xFF && u8(body.data(), 1) == 0xFF) ? 6 : 2;
  return body.size() >= formatAt + 5 && u8(body.data(), formatAt) == 0xFF &&
         body.substr(formatAt + 1, 4) == "ID3 ";
}

}  // namespace

uint32_t mpegSectionCRC(std::string_view data) {
  static const auto table = [] {
    std::array<uint32_t, 256> entries{};
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t crc = i << 24;
      for (int bit = 0; bit < 8; ++bit) crc = crc & 0x80000000 ? crc << 1 ^ 0x04C11DB7 : crc << 1;
      entries[i] = crc;
    }
    return entries;
  }();
  uint32_t crc = 0xFFFFFFFF;
  for (const char c : data) crc = crc << 8 ^ table[(crc >> 24 ^ static_cast<uint8_t>(c)) & 0xFF];
  return crc;
}

std::string TransportStreamID3Exposer::feed(std::string_view bytes) {
  std::string data = std::exchange(partial_, {});
  data.append(bytes);
  size_t at = 0;
  while (at < data.size()) {
    if (data[at] != kSyncByte) {  // out of step: passed on as it is, the demuxer resyncs
      ++at;
      continue;
    }
    if (data.size() - at < kPacketSize) {
      partial_ = data.substr(at);
      data.resize(at);
      break;
    }
    char* packet = data.data() + at;
    const uint16_t pid = pidOf(packet);
    if (pid == 0) {
      readProgramAssociation(std::string_view(packet, kPacketSize));
    } else if (programMapPIDs_.count(pid)) {
      rewriteProgramMap(packet);
    }
    at += kPacketSize;
  }
  return data;
}

void TransportStreamID3Exposer::readProgramAssociation(std::string_view packet) {
  size_t offset = 0, length = 0;
  if (!sectionIn(packet.data(), offset, length) || u8(packet.data(), offset) != 0x00) return;
  // Programs from byte 8 of the section to its CRC; program 0 names the
  // network information table, not a program map.
  for (size_t at = offset + 8; at + 4 <= offset + length - 4; at += 4) {
    const uint16_t program = u8(packet.data(), at) << 8 | u8(packet.data(), at + 1);
    if (program == 0) continue;
    programMapPIDs_.insert((u8(packet.data(), at + 2) & 0x1F) << 8 | u8(packet.data(), at + 3));
  }
}

void TransportStreamID3Exposer::rewriteProgramMap(char* packet) {
  size_t offset = 0, length = 0;
  if (!sectionIn(packet, offset, length) || u8(packet, offset) != kProgramMapTable) return;
  char* section = packet + offset;
  const size_t end = length - 4;  // the CRC's place
  size_t at = 12 + ((u8(section, 10) & 0x0F) << 8 | u8(section, 11));
  bool changed = false;
  while (at + 5 <= end) {
    const uint8_t streamType = u8(section, at);
    const uint16_t pid = (u8(section, at + 1) & 0x1F) << 8 | u8(section, at + 2);
    const size_t infoLength = (u8(section, at + 3) & 0x0F) << 8 | u8(section, at + 4);
    const size_t infoEnd = at + 5 + infoLength;
    if (infoEnd > end) return;  // malformed: left to the demuxer
    if (streamType == kTimedMetadataStreamType) {
      // The registration descriptor if there is one, else the metadata
      // descriptor, becomes a registration "KLVA" of the same length.
      char* chosen = nullptr;
      bool id3 = false;
      for (size_t d = at + 5; d + 2 <= infoEnd && d + 2 + u8(section, d + 1) <= infoEnd;
           d += 2 + u8(section, d + 1)) {
        id3 = id3 || namesID3(section + d);
        const uint8_t tag = u8(section, d);
        if (u8(section, d + 1) >= 4 &&
            (tag == kRegistrationDescriptor ||
             (tag == kMetadataDescriptor && (!chosen || u8(chosen, 0) != kRegistrationDescriptor))))
          chosen = section + d;
      }
      if (id3 && chosen) {
        section[at] = static_cast<char>(kPrivateDataStreamType);
        chosen[0] = static_cast<char>(kRegistrationDescriptor);
        std::copy_n("KLVA", 4, chosen + 2);
        metadataPIDs_.insert(pid);
        changed = true;
      }
    }
    at = infoEnd;
  }
  if (!changed) return;
  const uint32_t crc = mpegSectionCRC(std::string_view(section, end));
  for (int i = 0; i < 4; ++i) section[end + i] = static_cast<char>(crc >> (24 - 8 * i));
}

}  // namespace skylark
