#include "timeline/SKYLVelaLog.h"

#include <atomic>
#include <cstdint>

#include "platform/Log.h"

namespace skylark {
namespace {

// Bit 0 set means silent. Only bit 0 is ever consulted.
std::atomic<uint8_t> gLogSwitch{0};

}  // namespace

void SKYLVelaLogConfigure(unsigned level) {
  if (level > 2) return;
  gLogSwitch.store(static_cast<uint8_t>(1u >> level), std::memory_order_relaxed);
}

bool SKYLVelaLogIsSilenced() { return (gLogSwitch.load(std::memory_order_relaxed) & 1u) != 0; }

void SKYLVelaLogLine(std::string_view message) {
  if (SKYLVelaLogIsSilenced()) return;
  platformLog(message);
}

}  // namespace skylark
