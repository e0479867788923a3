#include "tracking/BeaconMacroExpander.h"

#include <fmt/format.h>

#include "tracking/VASTMacros.h"

namespace skylark {

BeaconMacroExpander::BeaconMacroExpander(std::shared_ptr<SessionClock> clock,
                                         std::shared_ptr<const BeaconPlayheads> playheads,
                                         uint64_t seed)
    : clock_(std::move(clock)), playheads_(std::move(playheads)), random_(seed) {}

std::string BeaconMacroExpander::cacheBuster() {
  MutexLock lock(mutex_);
  return fmt::format("{:08}", std::uniform_int_distribution<uint32_t>(0, 99'999'999)(random_));
}

URL BeaconMacroExpander::expand(const URL& url, const BeaconContext& context) {
  const std::string& text = url.absoluteString();
  // Most beacons carry no macro: they are not copied.
  if (text.find('[') == std::string::npos && text.find("%%") == std::string::npos) return url;
  VASTMacroValues values;
  values.cacheBusting = cacheBuster();
  if (clock_) values.timestamp = clock_->now();
  if (playheads_) {
    const auto [stream, content] = playheads_->get();
    if (stream.isNumeric()) values.mediaPlayhead = stream;
    if (content.isNumeric()) values.contentPlayhead = content;
  }
  values.adPlayhead = context.adPlayhead;
  values.breakPosition = context.breakPosition;
  values.podSequence = context.podSequence;
  values.adCount = context.adCount;
  values.assetURI = context.assetURI;
  auto expanded = URL::parse(expandVASTMacros(text, values));
  return expanded ? *expanded : url;
}

}  // namespace skylark
