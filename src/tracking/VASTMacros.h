#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/DateParser.h"
#include "platform/MediaTime.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// What the IAB VAST macros of a beacon URL stand for at the moment it is
// requested. An empty value is one not known here: its macro becomes -1.
struct VASTMacroValues {
  std::optional<std::string> cacheBusting;  // 8 digits, new for each request
  std::optional<SystemTime> timestamp;
  std::optional<MediaTime> contentPlayhead;
  std::optional<MediaTime> mediaPlayhead;  // the stream's time
  std::optional<MediaTime> adPlayhead;     // time into the ad
  std::optional<int> breakPosition;        // 1 pre-roll, 2 mid-roll, 3 post-roll
  std::optional<int> podSequence;          // the ad's place in its break, from 1
  std::optional<int> adCount;              // ads begun in the break so far, this one included
  std::optional<std::string> assetURI;
};

// `text` with every macro replaced, in both spellings ([NAME] and
// %%NAME%%): a known macro by its value, percent-encoded; an unknown one,
// or one whose value is not known, by -1. A NAME is a capital followed by
// capitals, digits and underscores; anything else ("a[0]", a lone "[")
// stays as it is.
std::string expandVASTMacros(std::string_view text, const VASTMacroValues& values);

// HH:MM:SS.mmm, as VAST writes playheads ("00:01:05.250"); hours grow
// past 99 if they must.
std::string vastPlayhead(const MediaTime& time);
// ISO 8601 in UTC with milliseconds and its offset: 2016-01-17T08:15:07.127+00:00.
std::string vastTimestamp(SystemTime time);

}  // namespace skylark
