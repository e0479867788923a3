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
// address of its first variant, where the dates are.
struct PlaylistDating {
  std::optional<SystemTime> startDate;
  std::optional<std::string> firstVariant;
};
PlaylistDating readPlaylistDating(std::string_view playlist);

// An ISO 8601 date and time as playlists write it
// ("2023-11-14T22:13:20.000Z", "...+01:00"); nothing for anything else.
std::optional<SystemTime> parseProgramDate(std::string_view text);

// Reads the playlist at url (http, https or file), following one
// multivariant level, and calls done on the main queue with the start
// date, or nothing when there is none or it cannot be read.
void fetchPlaylistStartDate(const URL& url, std::function<void(std::optional<SystemTime>)> done);

}  // namespace skylark
