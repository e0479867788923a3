// Bytes to the VMAP parser: any document, hostile ones included, gives a
// timeline or an error, and a timeline answers its time questions.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "host/SKYLHostLog.h"
#include "timeline/SKYLVelaLog.h"
#include "vmap/SKYLVelaVMAPParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace skylark;
  static const bool quiet = (SKYLVelaLogConfigure(0), SKYLHostLogSetLevel(-1), true);
  (void)quiet;
  auto result = SKYLVelaParseTimelineFromDataWithError(
      nullptr, std::string_view(reinterpret_cast<const char*>(data), size));
  if (!result.ok()) return 0;
  const auto& timeline = result.value();
  (void)timeline->description();
  for (double t : {0.0, 1.5, 30.0, 600.0, 1e9}) {
    const MediaTime time = MediaTime::makeWithSeconds(t, 600);
    (void)timeline->contentTimeAtAbsoluteTime(time);
    (void)timeline->absoluteTimeAtContentTime(time);
    (void)timeline->pathAtTime(time)->logicalTime();
  }
  return 0;
}
