#include "timeline/SKYLVelaTrackingEventsCollection.h"

#include <algorithm>
#include <numeric>
#include <span>

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {
namespace {

bool hasOrderedPlace(const SKYLVelaTrackingEvent& event) {
  return event.offset().isValid() && event.name() != kSKYLVelaTrackingEventsNameComplete &&
         event.name() != kSKYLVelaTrackingEventsNameBreakEnd;
}

// std::stable_sort, without the buffer it allocates for every call: a
// collection holds a dozen events or so, which an insertion sort (stable
// too) orders in place.
template <typename Iterator, typename Less>
void stableSortInPlace(Iterator first, Iterator last, Less less) {
  constexpr std::ptrdiff_t kLongest = 32;
  if (last - first > kLongest) {
    std::stable_sort(first, last, less);
    return;
  }
  for (Iterator i = first; i != last; ++i) {
    const auto value = *i;
    Iterator j = i;
    for (; j != first && less(value, *(j - 1)); --j) *j = *(j - 1);
    *j = value;
  }
}

}  // namespace

SKYLVelaTrackingEventsCollection::SKYLVelaTrackingEventsCollection(
    std::vector<SKYLVelaTrackingEvent> trackingEvents) {
  const size_t count = trackingEvents.size();
  // One scratch buffer: the events in their new order (by the order in
  // which they were added: those with an ordered place, then the rest),
  // and after it where each added event went.
  std::vector<uint32_t> scratch(2 * count);
  const auto order = std::span(scratch).first(count);
  const auto placeOf = std::span(scratch).last(count);
  size_t ordered = 0;
  for (uint32_t i = 0; i < count; ++i) ordered += hasOrderedPlace(trackingEvents[i]);
  for (uint32_t i = 0, front = 0, back = static_cast<uint32_t>(ordered); i < count; ++i) {
    order[hasOrderedPlace(trackingEvents[i]) ? front++ : back++] = i;
  }
  stableSortInPlace(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(ordered),
                    [&](uint32_t a, uint32_t b) {
                      return SKYLVelaTrackingEvent::compareByOffset(trackingEvents[a],
                                                                    trackingEvents[b]) < 0;
                    });
  orderedCount_ = ordered;
  events_.reserve(count);
  for (const uint32_t added : order) {
    placeOf[added] = static_cast<uint32_t>(events_.size());
    events_.push_back(std::move(trackingEvents[added]));
  }
  byName_.resize(count);
  std::iota(byName_.begin(), byName_.end(), 0u);
  stableSortInPlace(byName_.begin(), byName_.end(), [&](uint32_t a, uint32_t b) {
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
