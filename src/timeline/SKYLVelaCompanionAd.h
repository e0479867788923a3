#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/PointeeEquality.h"
#include "platform/URL.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaTrackingEventsCollection.h"

namespace SKYLARK_API skylark {

// A VAST companion (a banner shown beside the ad): its size, static
// resource, beacons and click-through. Immutable once built.
class SKYLVelaCompanionAd {
 public:
  // Everything a companion is; it is made from one of these.
  struct Fields {
    int64_t width = 0;
    int64_t height = 0;
    std::optional<std::string> identifier;
    std::optional<URL> staticResourceURL;
    std::optional<std::string> staticResourceCreativeType;
    std::shared_ptr<const SKYLVelaTrackingEventsCollection> trackingEventsCollection;
    std::optional<URL> clickThroughURL;
    std::vector<URL> clickTrackingURLs;
  };

  explicit SKYLVelaCompanionAd(Fields fields) : fields_(std::move(fields)) {}
  SKYLVelaCompanionAd(int64_t width, int64_t height) {
    fields_.width = width;
    fields_.height = height;
  }
  SKYLVelaCompanionAd() = delete;

  int64_t width() const { return fields_.width; }
  int64_t height() const { return fields_.height; }
  const std::optional<std::string>& identifier() const { return fields_.identifier; }
  const std::optional<URL>& staticResourceURL() const { return fields_.staticResourceURL; }
  const std::optional<std::string>& staticResourceCreativeType() const {
    return fields_.staticResourceCreativeType;
  }
  const std::shared_ptr<const SKYLVelaTrackingEventsCollection>& trackingEventsCollection() const {
    return fields_.trackingEventsCollection;
  }
  const std::optional<URL>& clickThroughURL() const { return fields_.clickThroughURL; }
  const std::vector<URL>& clickTrackingURLs() const { return fields_.clickTrackingURLs; }

  // Smaller width first, then smaller height: -1, 0 or 1.
  static int compareByWidthThenHeight(const SKYLVelaCompanionAd& a, const SKYLVelaCompanionAd& b);
  bool operator==(const SKYLVelaCompanionAd& other) const;
  size_t hash() const;
  std::string description() const;

 private:
  Fields fields_;
};

}  // namespace skylark
