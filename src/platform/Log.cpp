#include "platform/Log.h"

#include <cstdio>
#include <memory>

#include "platform/ThreadAnnotations.h"

namespace skylark {
namespace {

struct SinkSlot {
  Mutex mutex;
  std::shared_ptr<const LogSink> sink SKYL_GUARDED_BY(mutex);
};

// Process-lifetime: threads may still log while the process exits.
SinkSlot& sinkSlot() {
  static auto* slot = new SinkSlot;
  return *slot;
}

void writeToStandardError(const LogRecord& record) {
  const char* prefix = record.channel == LogChannel::Host ? "[host] " : "";
  std::fprintf(stderr, "%s%.*s\n", prefix, static_cast<int>(record.message.size()),
               record.message.data());
}

}  // namespace

void setLogSink(LogSink sink) {
  auto replacement = sink ? std::make_shared<const LogSink>(std::move(sink)) : nullptr;
  SinkSlot& slot = sinkSlot();
  MutexLock lock(slot.mutex);
  slot.sink = std::move(replacement);
}

void emitLog(LogChannel channel, int level, std::string_view message) {
  std::shared_ptr<const LogSink> sink;
  {
    SinkSlot& slot = sinkSlot();
    MutexLock lock(slot.mutex);
    sink = slot.sink;
  }
  const LogRecord record{channel, level, message};
  if (sink) {
    (*sink)(record);
  } else {
    writeToStandardError(record);
  }
}

}  // namespace skylark
