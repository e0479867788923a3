#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace skylark {

// One user-text (TXXX) frame of an ID3v2 tag: its description and its value,
// both as UTF-8.
struct ID3UserText {
  std::string description;
  std::string value;
  bool operator==(const ID3UserText&) const = default;
};

// The user-text frames of one ID3v2.3 or v2.4 tag (as HLS timed metadata
// carries it), in order. Other frames are passed over; a tag that is cut
// short or malformed yields the frames read before the fault. Latin-1 and
// UTF-16 texts are given as UTF-8. Any thread.
std::vector<ID3UserText> readID3UserTexts(std::string_view tag);

}  // namespace skylark
