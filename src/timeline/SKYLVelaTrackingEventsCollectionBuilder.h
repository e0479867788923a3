#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Visibility.h"
#include "timeline/SKYLVelaTrackingEventsCollection.h"

namespace SKYLARK_API skylark {

// Collects tracking events while a document is parsed. Not thread-safe.
class SKYLVelaTrackingEventsCollectionBuilder {
 public:
  // The offset string is read as plain "en_US" seconds; anything that is not
  // a plain number gives an offset of zero.
  void addTrackingEventNamed(std::string name, std::string_view atOffsetString,
                             std::optional<URL> withURL);
  // An event without offset.
  void addTrackingEventNamed(std::string name, std::optional<URL> withURL);

  // Every event by name; the ones with a valid offset, except "complete" and
  // "breakEnd", also in offset order.
  // The rvalue form moves the events instead of copying them.
  std::shared_ptr<const SKYLVelaTrackingEventsCollection> buildTrackingEventsCollection() const&;
  std::shared_ptr<const SKYLVelaTrackingEventsCollection> buildTrackingEventsCollection() &&;

  std::vector<SKYLVelaTrackingEvent> trackingEvents;
};

}  // namespace skylark
