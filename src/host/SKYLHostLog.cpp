#include "host/SKYLHostLog.h"

#include <atomic>

#include "platform/Log.h"

namespace skylark {
namespace {

std::atomic<int> gLevel{3};

}  // namespace

void SKYLHostLogSetLevel(int level) { gLevel.store(level, std::memory_order_relaxed); }
int SKYLHostLogLevel() { return gLevel.load(std::memory_order_relaxed); }

void SKYLHostLogLine(int level, std::string_view message) {
  if (level > SKYLHostLogLevel()) return;
  emitLog(LogChannel::Host, level, message);
}

}  // namespace skylark
