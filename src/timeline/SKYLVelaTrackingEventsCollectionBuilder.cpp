#include "timeline/SKYLVelaTrackingEventsCollectionBuilder.h"

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
  auto collection =
      std::make_shared<const SKYLVelaTrackingEventsCollection>(std::move(trackingEvents));
  trackingEvents.clear();
  return collection;
}

}  // namespace skylark
