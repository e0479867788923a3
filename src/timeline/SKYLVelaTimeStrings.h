#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/MediaTime.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The time strings of VMAP and VAST documents. A string that does not parse
// gives an invalid media time and a log line (through SKYLVelaLog); it is the
// caller that decides whether that aborts anything. Every time made here has
// timescale 600. All functions may be called from any thread.

// "HH:MM:SS" or "HH:MM:SS.mmm"; anything from a "+" on is dropped. Hours
// and minutes need exactly two characters, seconds at least two.
MediaTime SKYLVelaDurationFromString(const std::optional<std::string_view>& string);

// "start" (zero), "end" (+infinity), case-insensitively; otherwise a
// duration. The VMAP percent and position forms are not accepted.
MediaTime SKYLVelaAdBreakTimeOffsetFromString(std::string_view string);

// "25%" of the duration, or a time offset as above.
MediaTime SKYLVelaSkipOffsetFromStringWithDuration(std::string_view string,
                                                   const MediaTime& duration);

// True when a and b compare equal, or differ by strictly less than the
// tolerance.
bool SKYLVelaCMTimesWithinTolerance(const MediaTime& a, const MediaTime& b,
                                    const MediaTime& tolerance);

// The string without white space and new lines at either end (Unicode's
// spaces and line separators included); nothing stays nothing.
std::optional<std::string> SKYLTrimXMLStringValue(const std::optional<std::string_view>& string);
// The same trim as a view into s.
std::string_view SKYLTrimmedXMLStringView(std::string_view s);

}  // namespace skylark
