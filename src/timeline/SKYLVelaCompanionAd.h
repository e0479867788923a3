#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/PointeeEquality.h"
#include "platform/URL.h"
#include "timeline/SKYLVelaTrackingEventsCollection.h"

namespace skylark {

// A VAST companion (a banner shown beside the ad): its size, static
// resource, beacons and click-through. Immutable once built.
class SKYLVelaCompanionAd {
 public:
  SKYLVelaCompanionAd(int64_t width, int64_t height) : width_(width), height_(height) {}
  SKYLVelaCompanionAd() = delete;

  int64_t width() const { return width_; }
  int64_t height() const { return height_; }
  const std::optional<std::string>& identifier() const { return identifier_; }
  const std::optional<URL>& staticResourceURL() const { return staticResourceURL_; }
  const std::optional<std::string>& staticResourceCreativeType() const {
    return staticResourceCreativeType_;
  }
  const std::shared_ptr<const SKYLVelaTrackingEventsCollection>& trackingEventsCollection() const {
    return trackingEventsCollection_;
  }
  const std::optional<URL>& clickThroughURL() const { return clickThroughURL_; }
  const std::vector<URL>& clickTrackingURLs() const { return clickTrackingURLs_; }

  void setIdentifier(std::optional<std::string> v) { identifier_ = std::move(v); }
  void setStaticResourceURL(std::optional<URL> v) { staticResourceURL_ = std::move(v); }
  void setStaticResourceCreativeType(std::optional<std::string> v) {
    staticResourceCreativeType_ = std::move(v);
  }
  void setTrackingEventsCollection(std::shared_ptr<const SKYLVelaTrackingEventsCollection> v) {
    trackingEventsCollection_ = std::move(v);
  }
  void setClickThroughURL(std::optional<URL> v) { clickThroughURL_ = std::move(v); }
  void setClickTrackingURLs(std::vector<URL> v) { clickTrackingURLs_ = std::move(v); }

  // Smaller width first, then smaller height: -1, 0 or 1.
  static int compareByWidthThenHeight(const SKYLVelaCompanionAd& a, const SKYLVelaCompanionAd& b);

  bool operator==(const SKYLVelaCompanionAd& other) const;
  size_t hash() const;
  std::string description() const;

 private:
  int64_t width_;
  int64_t height_;
  std::optional<std::string> identifier_;
  std::optional<URL> staticResourceURL_;
  std::optional<std::string> staticResourceCreativeType_;
  std::shared_ptr<const SKYLVelaTrackingEventsCollection> trackingEventsCollection_;
  std::optional<URL> clickThroughURL_;
  std::vector<URL> clickTrackingURLs_;
};

}  // namespace skylark
