#include "timeline/SKYLVelaTrackingEventsCollection.h"

#include <algorithm>
#include <numeric>

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {
namespace {

bool hasOrderedPlace(const SKYLVelaTrackingEvent& event) {
  return event.offset().isValid() && event.name() != kSKYLVelaTrackingEventsNameComplete &&
         event.name() != kSKYLVelaTrackingEventsNameBreakEnd;
}

}  // namespace

SKYLVelaTrackingEventsCollection::SKYLVelaTrackingEventsCollection(
    std::vector<SKYLVelaTrackingEvent> trackingEvents) {
  const size_t count = trackingEvents.size();
  // Where each event goes, by the order in which it was added.
  std::vector<uint32_t> ordered;
  std::vector<uint32_t> rest;
  for (uint32_t i = 0; i < count; ++i) {
    (hasOrderedPlace(trackingEvents[i]) ? ordered : rest).push_back(i);
  }
  std::stable_sort(ordered.begin(), ordered.end(), [&](uint32_t a, uint32_t b) {
    return SKYLVelaTrackingEvent::compareByOffset(trackingEvents[a], trackingEvents[b]) < 0;
  });
  orderedCount_ = ordered.size();
  std::vector<uint32_t> placeOf(count);
  events_.reserve(count);
  for (const auto* part : {&ordered, &rest}) {
    for (const uint32_t added : *part) {
      placeOf[added] = static_cast<uint32_t>(events_.size());
      events_.push_back(std::move(trackingEvents[added]));
    }
  }
  byName_.resize(count);
  std::iota(byName_.begin(), byName_.end(), 0u);
  std::stable_sort(byName_.begin(), byName_.end(), [&](uint32_t a, uint32_t b) {
    return events_[placeOf[a]].name() < events_[placeOf[b]].name();
  });
  for (auto& position : byName_) position = placeOf[position];
}

SKYLVelaTrackingEventsCollection::EventList SKYLVelaTrackingEventsCollection::EventsByName::at(
    std::string_view name) const {
  const auto first =
      std::lower_bound(positions_.begin(), positions_.end(), name,
                       [&](uint32_t at, std::string_view n) { return events_[at].name() < n; });
  auto last = first;
  while (last != positions_.end() && events_[*last].name() == name) ++last;
  return {events_, std::span<const uint32_t>(first, last)};
}

size_t SKYLVelaTrackingEventsCollection::EventsByName::nextName(size_t at) const {
  const std::string& name = nameAt(at);
  do {
    ++at;
  } while (at < positions_.size() && nameAt(at) == name);
  return at;
}

std::vector<URL> SKYLVelaTrackingEventsCollection::URLsForTrackingEventsNamed(
    std::string_view name) const {
  std::vector<URL> urls;
  for (const auto& event : eventsByName().at(name)) {
    if (event.url()) urls.push_back(*event.url());
  }
  return urls;
}

std::vector<URL> SKYLVelaTrackingEventsCollection::URLsForTrackingEventsAtOrAfter(
    const MediaTime& atOrAfter, const MediaTime& before) const {
  std::vector<URL> urls;
  for (const auto& event : orderedEventsWithOffsets()) {
    if (event.offset() < atOrAfter) continue;
    if (event.offset() >= before) break;
    if (event.url()) urls.push_back(*event.url());
  }
  return urls;
}

bool SKYLVelaTrackingEventsCollection::operator==(
    const SKYLVelaTrackingEventsCollection& other) const {
  if (orderedCount_ != other.orderedCount_ || byName_.size() != other.byName_.size()) return false;
  const auto ordered = orderedEventsWithOffsets();
  if (!std::equal(ordered.begin(), ordered.end(), other.orderedEventsWithOffsets().begin())) {
    return false;
  }
  // Names are part of each event, so the same sequence by name is the same
  // events under the same names.
  for (size_t i = 0; i < byName_.size(); ++i) {
    if (!(events_[byName_[i]] == other.events_[other.byName_[i]])) return false;
  }
  return true;
}

size_t SKYLVelaTrackingEventsCollection::hash() const {
  size_t h = 1;
  for (const uint32_t position : byName_) h = hashStep(h, events_[position].hash());
  return h;
}

std::string SKYLVelaTrackingEventsCollection::description() const {
  std::string byName = "{";
  for (const auto& [name, events] : eventsByName()) {
    byName += name + " = " + describeList(events) + "; ";
  }
  byName += "}";
  return descriptionHeader("SKYLVelaTrackingEventsCollection", this) + " eventsByName = " + byName +
         ";" + " orderedEventsWithOffsets = " + describeList(orderedEventsWithOffsets()) + ";>";
}

}  // namespace skylark
