#include "timeline/SKYLVelaTrackingEventsCollectionBuilder.h"

#include <algorithm>

#include "platform/NumberParser.h"

namespace skylark {

void SKYLVelaTrackingEventsCollectionBuilder::addTrackingEventNamed(std::string name,
                                                                    std::string_view atOffsetString,
                                                                    std::optional<URL> withURL) {
  const double seconds = NumberParser::decimalEnUS().parse(atOffsetString).value_or(0.0);
  trackingEvents.emplace_back(std::move(name), std::move(withURL),
                              MediaTime::makeWithSeconds(seconds, 600));
}

void SKYLVelaTrackingEventsCollectionBuilder::addTrackingEventNamed(std::string name,
                                                                    std::optional<URL> withURL) {
  trackingEvents.emplace_back(std::move(name), std::move(withURL));
}

std::shared_ptr<const SKYLVelaTrackingEventsCollection>
SKYLVelaTrackingEventsCollectionBuilder::buildTrackingEventsCollection() const& {
  SKYLVelaTrackingEventsCollectionBuilder copy = *this;
  return std::move(copy).buildTrackingEventsCollection();
}

std::shared_ptr<const SKYLVelaTrackingEventsCollection>
SKYLVelaTrackingEventsCollectionBuilder::buildTrackingEventsCollection() && {
  SKYLVelaTrackingEventsCollection::EventsByName byName;
  std::vector<SKYLVelaTrackingEvent> ordered;
  ordered.reserve(trackingEvents.size());
  for (auto& event : trackingEvents) {
    if (event.offset().isValid() && event.name() != kSKYLVelaTrackingEventsNameComplete &&
        event.name() != kSKYLVelaTrackingEventsNameBreakEnd) {
      ordered.push_back(event);
    }
    auto& list = byName[event.name()];
    list.push_back(std::move(event));
  }
  trackingEvents.clear();
  std::stable_sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) {
    return SKYLVelaTrackingEvent::compareByOffset(a, b) < 0;
  });
  return std::make_shared<const SKYLVelaTrackingEventsCollection>(std::move(byName),
                                                                  std::move(ordered));
}

}  // namespace skylark
