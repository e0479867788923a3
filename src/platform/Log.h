#pragma once

#include <functional>
#include <string_view>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Where a log line comes from: the platform log (the plug-in's own switchable
// log writes there) or the host player's leveled logger.
enum class LogChannel { Platform, Host };

// Host log levels: 0 errors, 1 configuration problems, 3 information,
// 5 the event trace, 6 verbose. Platform lines carry level 0.
struct LogRecord {
  LogChannel channel;
  int level;
  std::string_view message;
};

using LogSink = std::function<void(const LogRecord&)>;

// Replaces the process-wide sink; an empty sink restores the default, which
// writes each line to standard error. Safe from any thread; a line being
// written while the sink is replaced goes to one of the two.
void setLogSink(LogSink sink);

void emitLog(LogChannel channel, int level, std::string_view message);

// The platform log: one line, written as it stands.
inline void platformLog(std::string_view message) { emitLog(LogChannel::Platform, 0, message); }

}  // namespace skylark
