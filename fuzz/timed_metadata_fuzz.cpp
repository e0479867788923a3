// Bytes as a transport stream on its way into the demuxer, cut into
// buffers where the input says, through the ID3 stream exposer; and the
// same bytes as an ID3 tag.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "host/gst/ID3Tag.h"
#include "host/gst/TransportStreamID3Exposer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace skylark;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  (void)readID3UserTexts(bytes);
  TransportStreamID3Exposer exposer;
  size_t out = 0;
  for (size_t at = 0, chunk = 1; at < bytes.size(); at += chunk, chunk = chunk * 7 % 509 + 1) {
    out += exposer.feed(bytes.substr(at, chunk)).size();
  }
  // Nothing is lost or made up, apart from the partial packet that waits.
  if (out > bytes.size()) __builtin_trap();
  return 0;
}
