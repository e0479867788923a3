#include "timeline/SKYLVelaTrackingEvent.h"

#include <algorithm>
#include <array>
#include <functional>

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {
namespace {

// The event names of VAST 2 to 4 (linear, non-linear and companion
// tracking) and of VMAP break tracking, sorted.
constexpr std::array<std::string_view, 37> kKnownNames = {
    "acceptInvitation",
    "acceptInvitationLinear",
    "adCollapse",
    "adExpand",
    "breakEnd",
    "breakStart",
    "close",
    "closeLinear",
    "collapse",
    "complete",
    "creativeView",
    "error",
    "exitFullscreen",
    "expand",
    "firstQuartile",
    "fullscreen",
    "impression",
    "interactiveStart",
    "loaded",
    "midpoint",
    "minimize",
    "mute",
    "notUsed",
    "otherAdInteraction",
    "overlayViewDuration",
    "pause",
    "playerCollapse",
    "playerExpand",
    "progress",
    "resume",
    "rewind",
    "skip",
    "start",
    "thirdQuartile",
    "timeSpentViewing",
    "unmute",
    "verificationNotExecuted",
};
static_assert(std::is_sorted(kKnownNames.begin(), kKnownNames.end()));

// One immutable copy of each known name, made on first use and kept for
// the process's life; read from any thread.
const std::array<std::shared_ptr<const std::string>, kKnownNames.size()>& knownNames() {
  static const auto names = [] {
    std::array<std::shared_ptr<const std::string>, kKnownNames.size()> made;
    for (size_t i = 0; i < made.size(); ++i) {
      made[i] = std::make_shared<const std::string>(kKnownNames[i]);
    }
    return made;
  }();
  return names;
}

std::shared_ptr<const std::string> sharedName(std::string_view name) {
  const auto found = std::lower_bound(kKnownNames.begin(), kKnownNames.end(), name);
  if (found != kKnownNames.end() && *found == name) {
    return knownNames()[static_cast<size_t>(found - kKnownNames.begin())];
  }
  return std::make_shared<const std::string>(name);
}

}  // namespace

SKYLVelaTrackingEvent::SKYLVelaTrackingEvent(std::string_view name, std::optional<URL> url,
                                             MediaTime offset)
    : name_(sharedName(name)), url_(std::move(url)), offset_(offset) {}

size_t SKYLVelaTrackingEvent::hash() const {
  size_t h = 1;
  h = hashStep(h, std::hash<std::string>{}(*name_));
  h = hashStep(h, url_ ? url_->hash() : 0);
  return hashStep(h, hashFromDouble(offset_.seconds()));
}

std::string SKYLVelaTrackingEvent::description() const {
  return descriptionHeader("SKYLVelaTrackingEvent", this) + " name = " + *name_ + ";" +
         " offset = " + offset_.description() + ";" + " url = " + describe(url_) + ";>";
}

}  // namespace skylark
