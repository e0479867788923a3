#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/MediaTime.h"
#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

inline constexpr std::string_view kSKYLVelaTrackingEventsNameStart = "start";
inline constexpr std::string_view kSKYLVelaTrackingEventsNameFirstQuartile = "firstQuartile";
inline constexpr std::string_view kSKYLVelaTrackingEventsNameMidpoint = "midpoint";
inline constexpr std::string_view kSKYLVelaTrackingEventsNameThirdQuartile = "thirdQuartile";
inline constexpr std::string_view kSKYLVelaTrackingEventsNameComplete = "complete";
inline constexpr std::string_view kSKYLVelaTrackingEventsNameBreakStart = "breakStart";
inline constexpr std::string_view kSKYLVelaTrackingEventsNameBreakEnd = "breakEnd";

// One beacon of an ad or break: its event name, URL and, for events that
// fire at a time into the ad, that offset (invalid otherwise).
//
// The names VAST and VMAP define ("start", "firstQuartile", "breakEnd",
// "creativeView", ...) are held once for the whole process and shared by
// every event that bears one; any other name is the event's own.
class SKYLVelaTrackingEvent {
 public:
  SKYLVelaTrackingEvent(std::string_view name, std::optional<URL> url,
                        MediaTime offset = MediaTime::invalid());

  const std::string& name() const { return *name_; }
  const std::optional<URL>& url() const { return url_; }
  const MediaTime& offset() const { return offset_; }

  // Ascending by offset: -1, 0 or 1.
  static int compareByOffset(const SKYLVelaTrackingEvent& a, const SKYLVelaTrackingEvent& b) {
    return compare(a.offset_, b.offset_);
  }

  bool operator==(const SKYLVelaTrackingEvent& other) const {
    return name() == other.name() && url_ == other.url_ && offset_ == other.offset_;
  }
  size_t hash() const;
  std::string description() const;

 private:
  // Never null.
  std::shared_ptr<const std::string> name_;
  std::optional<URL> url_;
  MediaTime offset_;
};

}  // namespace skylark
