#include "host/gst/ID3Tag.h"

#include <cstdint>
#include <optional>

namespace skylark {
namespace {

constexpr size_t kHeaderSize = 10;

uint8_t byteAt(std::string_view data, size_t at) { return static_cast<uint8_t>(data[at]); }

uint32_t bigEndian32(std::string_view data, size_t at) {
  return uint32_t{byteAt(data, at)} << 24 | uint32_t{byteAt(data, at + 1)} << 16 |
         uint32_t{byteAt(data, at + 2)} << 8 | byteAt(data, at + 3);
}

// Sizes in ID3v2.4 (and the tag size in every version) use seven bits a byte.
std::optional<uint32_t> synchsafe32(std::string_view data, size_t at) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) {
    const uint8_t byte = byteAt(data, at + i);
    if (byte & 0x80) return std::nullopt;
    value = value << 7 | byte;
  }
  return value;
}

// Unsynchronisation put a zero after every 0xFF; this takes it out again.
std::string resynchronised(std::string_view data) {
  std::string out;
  out.reserve(data.size());
  for (size_t i = 0; i < data.size(); ++i) {
    out.push_back(data[i]);
    if (byteAt(data, i) == 0xFF && i + 1 < data.size() && data[i + 1] == '\0') ++i;
  }
  return out;
}

void appendUTF8(std::string& out, uint32_t codePoint) {
  if (codePoint < 0x80) {
    out.push_back(static_cast<char>(codePoint));
  } else if (codePoint < 0x800) {
    out.push_back(static_cast<char>(0xC0 | codePoint >> 6));
    out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
  } else if (codePoint < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | codePoint >> 12));
    out.push_back(static_cast<char>(0x80 | (codePoint >> 6 & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | codePoint >> 18));
    out.push_back(static_cast<char>(0x80 | (codePoint >> 12 & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (codePoint >> 6 & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
  }
}

// Encodings 1 (UTF-16 with a byte-order mark) and 2 (UTF-16BE); a lone
// surrogate becomes U+FFFD.
std::string utf16ToUTF8(std::string_view text, bool bigEndian) {
  if (text.size() >= 2) {
    if (byteAt(text, 0) == 0xFF && byteAt(text, 1) == 0xFE) {
      bigEndian = false;
      text.remove_prefix(2);
    } else if (byteAt(text, 0) == 0xFE && byteAt(text, 1) == 0xFF) {
      bigEndian = true;
      text.remove_prefix(2);
    }
  }
  std::string out;
  auto unit = [&](size_t at) -> uint32_t {
    return bigEndian ? uint32_t{byteAt(text, at)} << 8 | byteAt(text, at + 1)
                     : uint32_t{byteAt(text, at + 1)} << 8 | byteAt(text, at);
  };
  for (size_t at = 0; at + 1 < text.size(); at += 2) {
    uint32_t code = unit(at);
    if (code >= 0xD800 && code < 0xDC00 && at + 3 < text.size()) {
      const uint32_t low = unit(at + 2);
      if (low >= 0xDC00 && low < 0xE000) {
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        at += 2;
      } else {
        code = 0xFFFD;
      }
    } else if (code >= 0xD800 && code < 0xE000) {
      code = 0xFFFD;
    }
    appendUTF8(out, code);
  }
  return out;
}

std::string toUTF8(std::string_view text, uint8_t encoding) {
  switch (encoding) {
    case 0: {  // ISO-8859-1
      std::string out;
      for (const char c : text) appendUTF8(out, static_cast<uint8_t>(c));
      return out;
    }
    case 1:
      return utf16ToUTF8(text, false);
    case 2:
      return utf16ToUTF8(text, true);
    default:  // 3: UTF-8
      return std::string(text);
  }
}

// Where the text that starts at `from` ends: its terminator (one zero byte,
// or two on a UTF-16 unit boundary), or the end of the frame.
size_t terminatorAt(std::string_view body, size_t from, bool wide) {
  if (!wide) {
    const size_t end = body.find('\0', from);
    return end == std::string_view::npos ? body.size() : end;
  }
  for (size_t at = from; at + 1 < body.size(); at += 2) {
    if (body[at] == '\0' && body[at + 1] == '\0') return at;
  }
  return body.size();
}

std::optional<ID3UserText> readUserText(std::string_view body) {
  if (body.empty()) return std::nullopt;
  const uint8_t encoding = byteAt(body, 0);
  if (encoding > 3) return std::nullopt;
  const bool wide = encoding == 1 || encoding == 2;
  const size_t descriptionEnd = terminatorAt(body, 1, wide);
  const size_t valueStart = std::min(body.size(), descriptionEnd + (wide ? 2 : 1));
  std::string_view value = body.substr(valueStart);
  // A value may carry its own terminator.
  value = value.substr(0, terminatorAt(value, 0, wide));
  return ID3UserText{toUTF8(body.substr(1, descriptionEnd - 1), encoding), toUTF8(value, encoding)};
}

}  // namespace

std::vector<ID3UserText> readID3UserTexts(std::string_view tag) {
  std::vector<ID3UserText> texts;
  if (tag.size() < kHeaderSize || tag.substr(0, 3) != "ID3") return texts;
  const uint8_t version = byteAt(tag, 3);
  const uint8_t flags = byteAt(tag, 5);
  const auto size = synchsafe32(tag, 6);
  if ((version != 3 && version != 4) || !size) return texts;
  std::string frames(tag.substr(kHeaderSize, std::min<size_t>(*size, tag.size() - kHeaderSize)));
  // Unsynchronisation of the whole tag: in v2.3 frame sizes count the bytes
  // without it; in v2.4 it stands for each frame's own.
  const bool unsynchronised = flags & 0x80;
  if (unsynchronised && version == 3) frames = resynchronised(frames);
  size_t at = 0;
  if (flags & 0x40 && frames.size() >= 4) {  // an extended header to step over
    const auto extended = version == 4 ? synchsafe32(frames, 0) : bigEndian32(frames, 0) + 4;
    if (!extended) return texts;
    at = *extended;
  }
  while (at + kHeaderSize <= frames.size() && frames[at] != '\0') {  // zeros: padding
    const std::string_view id(frames.data() + at, 4);
    const auto frameSize = version == 4 ? synchsafe32(frames, at + 4) : bigEndian32(frames, at + 4);
    if (!frameSize || *frameSize > frames.size() - at - kHeaderSize) break;
    const uint8_t formatFlags = byteAt(frames, at + 9);
    std::string_view body(frames.data() + at + kHeaderSize, *frameSize);
    std::string unsynchronisedBody;
    if (version == 4 && (formatFlags & 0x02 || unsynchronised)) {
      unsynchronisedBody = resynchronised(body);
      body = unsynchronisedBody;
    }
    // Compressed or encrypted frames are passed over; a group byte and a
    // data length indicator (v2.4) come before the body.
    const bool compressedOrEncrypted =
        version == 4 ? (formatFlags & 0x0C) != 0 : (formatFlags & 0xC0) != 0;
    if (version == 4 && formatFlags & 0x40) body.remove_prefix(std::min<size_t>(1, body.size()));
    if (version == 4 && formatFlags & 0x01) body.remove_prefix(std::min<size_t>(4, body.size()));
    if (id == "TXXX" && !compressedOrEncrypted) {
      if (auto text = readUserText(body)) texts.push_back(std::move(*text));
    }
    at += kHeaderSize + *frameSize;
  }
  return texts;
}

}  // namespace skylark
