#pragma once

#include <string_view>

#include "platform/StringFormat.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The host player's leveled logger: 0 errors, 1 configuration problems,
// 3 information, 5 the event trace, 6 verbose. Lines at or below the
// configured level (3 by default) are written; formatting is skipped for
// the others.
void SKYLHostLogSetLevel(int level);
int SKYLHostLogLevel();
void SKYLHostLogLine(int level, std::string_view message);

template <typename... Args>
void SKYLHostLog(int level, std::string_view format, const Args&... args) {
  if (level > SKYLHostLogLevel()) return;
  SKYLHostLogLine(level, formatObjC(format, {FormatArg(args)...}));
}

}  // namespace skylark
