#pragma once

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// What a session does with a break the viewer has already watched when the
// playhead comes to it again: plays it again, or jumps to its end.
enum class PlayedBreaksPolicy { replay, skip };

// How a session plays what the application chose beyond the defaults; the
// defaults are the plug-in's own behaviour.
struct SessionOptions {
  // Beacon and click-tracking URLs get their VAST macros filled in just
  // before they are requested; otherwise they go out as written.
  bool expandVASTMacros = false;
  // A forward seek over unwatched breaks plays the last of them first.
  bool snapbackEnabled = true;
  // Starting at a bookmark plays none of the breaks before it; otherwise
  // the last of them plays first.
  bool bookmarkSkipsEarlierBreaks = true;
  PlayedBreaksPolicy playedBreaks = PlayedBreaksPolicy::replay;
};

}  // namespace skylark
