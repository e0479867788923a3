// Bytes to every time-string parser of the timeline: none may crash, and
// every result must be either invalid or a time the platform can hold.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "timeline/SKYLVelaLog.h"
#include "timeline/SKYLVelaTimeStrings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool silenced = (skylark::SKYLVelaLogConfigure(0), true);
  (void)silenced;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  using namespace skylark;
  const MediaTime duration = SKYLVelaDurationFromString(text);
  const MediaTime offset = SKYLVelaAdBreakTimeOffsetFromString(text);
  const MediaTime skip = SKYLVelaSkipOffsetFromStringWithDuration(text, duration);
  (void)SKYLVelaCMTimesWithinTolerance(duration, offset, skip);
  (void)SKYLTrimXMLStringValue(text);
  if (duration.isValid() && !duration.isNumeric() && !duration.isPositiveInfinity())
    __builtin_trap();
  return 0;
}
