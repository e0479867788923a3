#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Visibility.h"
#include "timeline/SKYLVelaTrackingEvent.h"

namespace SKYLARK_API skylark {

// The beacons of one ad (or companion), by name and, for those with an
// offset, in offset order. Immutable; shared between copies of its ad.
class SKYLVelaTrackingEventsCollection {
 public:
  using EventsByName = std::map<std::string, std::vector<SKYLVelaTrackingEvent>, std::less<>>;

  SKYLVelaTrackingEventsCollection(EventsByName eventsByName,
                                   std::vector<SKYLVelaTrackingEvent> orderedEventsWithOffsets)
      : eventsByName_(std::move(eventsByName)),
        orderedEventsWithOffsets_(std::move(orderedEventsWithOffsets)) {}

  const EventsByName& eventsByName() const { return eventsByName_; }
  const std::vector<SKYLVelaTrackingEvent>& orderedEventsWithOffsets() const {
    return orderedEventsWithOffsets_;
  }

  // The URLs of every event of that name, in insertion order.
  std::vector<URL> URLsForTrackingEventsNamed(std::string_view name) const;
  // The URLs of the offset events in [atOrAfter, before).
  std::vector<URL> URLsForTrackingEventsAtOrAfter(const MediaTime& atOrAfter,
                                                  const MediaTime& before) const;

  bool operator==(const SKYLVelaTrackingEventsCollection& other) const {
    return eventsByName_ == other.eventsByName_ &&
           orderedEventsWithOffsets_ == other.orderedEventsWithOffsets_;
  }
  size_t hash() const;
  std::string description() const;

 private:
  EventsByName eventsByName_;
  std::vector<SKYLVelaTrackingEvent> orderedEventsWithOffsets_;
};

}  // namespace skylark
