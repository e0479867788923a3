#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/DateParser.h"
#include "platform/URL.h"

namespace skylark {

// What an HLS playlist says of dates: for a media playlist, the date of its
// first segment's start (its first EXT-X-PROGRAM-DATE-TIME less the
// durations of the segments before it); for a multivariant playlist, the
// address of its first variant, where the dates are. A media playlist
// without an end tag is live.
struct PlaylistDating {
  std::optional<SystemTime> startDate;
  std::optional<std::string> firstVariant;
  bool live = false;
};
PlaylistDating readPlaylistDating(std::string_view playlist);

// An ISO 8601 date and time as playlists write it
// ("2023-11-14T22:13:20.000Z", "...+01:00"); nothing for anything else.
std::optional<SystemTime> parseProgramDate(std::string_view text);

// Reads the playlist at url (http, https or file), following one
// multivariant level, and calls done on the main queue with what it says
// of dates (nothing of them when it cannot be read).
void fetchPlaylistDating(const URL& url, std::function<void(PlaylistDating)> done);

}  // namespace skylark
