// Bytes as an older live stream's timed-metadata ad document: parsed into
// ad sequences and installed into a live timeline, as the session does.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "timeline/SKYLVelaLog.h"
#include "vmap/SKYLLiveSSAIAdMetadataParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace skylark;
  SKYLVelaLogConfigure(0);
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  auto sequences = SKYLLiveSSAIParseAdMetadataFromDataWithError(text, MediaTime::make(1000, 1));
  if (!sequences.ok()) return 0;
  auto timeline = SKYLVelaTimeline::create(std::nullopt, MediaTime::positiveInfinity(),
                                           MediaTime::positiveInfinity(), {}, {}, true);
  timeline->installLiveAdSequences(sequences.value());
  timeline->installLiveAdSequences(sequences.value());
  (void)timeline->pathAtTimeForLiveSSAI(MediaTime::make(1005, 1));
  return 0;
}
