#include "timeline/SKYLVelaTrackingEventsCollection.h"

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {

std::vector<URL> SKYLVelaTrackingEventsCollection::URLsForTrackingEventsNamed(
    std::string_view name) const {
  std::vector<URL> urls;
  const auto found = eventsByName_.find(name);
  if (found == eventsByName_.end()) return urls;
  for (const auto& event : found->second) {
    if (event.url()) urls.push_back(*event.url());
  }
  return urls;
}

std::vector<URL> SKYLVelaTrackingEventsCollection::URLsForTrackingEventsAtOrAfter(
    const MediaTime& atOrAfter, const MediaTime& before) const {
  std::vector<URL> urls;
  for (const auto& event : orderedEventsWithOffsets_) {
    if (event.offset() < atOrAfter) continue;
    if (event.offset() >= before) break;
    if (event.url()) urls.push_back(*event.url());
  }
  return urls;
}

size_t SKYLVelaTrackingEventsCollection::hash() const {
  size_t h = 1;
  for (const auto& [name, events] : eventsByName_) {
    for (const auto& event : events) h = hashStep(h, event.hash());
  }
  return h;
}

std::string SKYLVelaTrackingEventsCollection::description() const {
  std::string byName = "{";
  for (const auto& [name, events] : eventsByName_) {
    byName += name + " = " + describeList(events) + "; ";
  }
  byName += "}";
  return descriptionHeader("SKYLVelaTrackingEventsCollection", this) + " eventsByName = " + byName +
         ";" + " orderedEventsWithOffsets = " + describeList(orderedEventsWithOffsets_) + ";>";
}

}  // namespace skylark
