#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace skylark {

// GStreamer 1.22's tsdemux makes no pad for the timed-metadata stream of an
// HLS transport stream (stream type 0x15, "ID3 " in its registration or
// metadata descriptor): it calls it a non-media stream and drops it. This
// rewrites that stream's entry in each program map into a private data
// stream registered as "KLVA", which tsdemux does expose: as a private pad,
// its buffers the stream's PES payloads (the ID3 tags, untouched),
// timestamped on the same clock as the video, through seeks, flushes and
// discontinuities. Only the program map's stream type, one descriptor tag
// and identifier and its CRC change, in place; every other byte passes as
// it came.
//
// Bytes are handed on in whole 188-byte packets: the part of a packet cut
// off at the end of a buffer waits for the next one. A program map section
// that spans packets is left alone. Used on one streaming thread at a time.
class TransportStreamID3Exposer {
 public:
  // The next bytes of the stream; returns those that can go on, rewritten.
  std::string feed(std::string_view bytes);
  // After a flush or at a new stream: the waiting part is dropped.
  void reset() { partial_.clear(); }
  // The timed-metadata streams found so far, by packet identifier.
  const std::set<uint16_t>& metadataPIDs() const { return metadataPIDs_; }

 private:
  void readProgramAssociation(std::string_view packet);
  void rewriteProgramMap(char* packet);

  std::string partial_;
  std::set<uint16_t> programMapPIDs_;
  std::set<uint16_t> metadataPIDs_;
};

// The CRC-32 of MPEG-2 sections (polynomial 0x04C11DB7, not reflected).
uint32_t mpegSectionCRC(std::string_view data);

}  // namespace skylark
