// Bytes to the tracking-answer decoder and the live timeline merge: nothing
// a service sends may crash the player.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "live2/SKYLSSAILive2Session.h"
#include "live2/SKYLSSAILive2Timeline.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace skylark;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)SKYLSSAILive2SessionInfo::decode(text);
  auto response = SKYLSSAILive2TrackingResponse::decode(text);
  if (!response.ok()) return 0;
  SKYLSSAILive2Timeline timeline;
  (void)timeline.merge(response.value());
  (void)timeline.merge(response.value());
  for (const auto& entry : timeline.entries()) {
    if (entry.programDate) (void)timeline.entry(*entry.programDate);
  }
  timeline.prune(SystemTime(std::chrono::milliseconds(1714557600000)));
  return 0;
}
