#pragma once

#include <string_view>

#include "platform/StringFormat.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The plug-in's own diagnostic log, on until configured otherwise.
// Levels 0 silences it; 1 and 2 turn it on; 3 and above change nothing.
void SKYLVelaLogConfigure(unsigned level);

bool SKYLVelaLogIsSilenced();

// Writes an already formatted line to the platform log when not silenced.
void SKYLVelaLogLine(std::string_view message);

// printf-style with object placeholders (%@): formatting is skipped entirely
// while silenced, and the result is logged as it stands (a percent sign in
// an argument is never interpreted again).
template <typename... Args>
void SKYLVelaLog(std::string_view format, const Args&... args) {
  if (SKYLVelaLogIsSilenced()) return;
  SKYLVelaLogLine(formatObjC(format, {FormatArg(args)...}));
}

}  // namespace skylark
