#include "platform/Log.h"

#include <cstdio>
#include <memory>
#include <mutex>

namespace skylark {
namespace {

// Process-lifetime: threads may still log while the process exits.
std::mutex& sinkMutex() {
  static auto* mutex = new std::mutex;
  return *mutex;
}

std::shared_ptr<const LogSink>& currentSink() {
  static auto* sink = new std::shared_ptr<const LogSink>;
  return *sink;
}

void writeToStandardError(const LogRecord& record) {
  const char* prefix = record.channel == LogChannel::Host ? "[host] " : "";
  std::fprintf(stderr, "%s%.*s\n", prefix, static_cast<int>(record.message.size()),
               record.message.data());
}

}  // namespace

void setLogSink(LogSink sink) {
  auto replacement = sink ? std::make_shared<const LogSink>(std::move(sink)) : nullptr;
  std::lock_guard lock(sinkMutex());
  currentSink() = std::move(replacement);
}

void emitLog(LogChannel channel, int level, std::string_view message) {
  std::shared_ptr<const LogSink> sink;
  {
    std::lock_guard lock(sinkMutex());
    sink = currentSink();
  }
  const LogRecord record{channel, level, message};
  if (sink) {
    (*sink)(record);
  } else {
    writeToStandardError(record);
  }
}

}  // namespace skylark
