#pragma once

#include <memory>

#include "timeline/SKYLVelaCompanionAd.h"

namespace skylark {

// The fields of a companion while its document is parsed. Not thread-safe;
// may build any number of times.
struct SKYLVelaCompanionAdBuilder {
  int64_t width = 0;
  int64_t height = 0;
  std::optional<std::string> identifier;
  std::optional<URL> staticResourceURL;
  std::optional<std::string> staticResourceCreativeType;
  std::shared_ptr<const SKYLVelaTrackingEventsCollection> trackingEventsCollection;
  std::optional<URL> clickThroughURL;
  std::vector<URL> clickTrackingURLs;

  std::shared_ptr<const SKYLVelaCompanionAd> buildCompanionAd() const;
};

}  // namespace skylark
