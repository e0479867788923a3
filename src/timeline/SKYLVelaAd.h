#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/MediaTime.h"
#include "platform/URL.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaCompanionAdsCollection.h"
#include "timeline/SKYLVelaTrackingEventsCollection.h"
#include "timeline/SKYLXMLElementDictionary.h"

namespace SKYLARK_API skylark {

class SKYLAdVerification;
struct SKYLViewableImpressionCollection;

// One VAST ad stitched into the stream: where it lies on the stream's own
// clock (absolute time), the content time at which its break stands, when
// it may be skipped, and its beacons, companions and verifications.
// Built by SKYLVelaAdBuilder and immutable: a live merge replaces an ad by
// a re-timed copy (copyWith) rather than changing it.
class SKYLVelaAd {
 public:
  using Verifications = std::vector<std::shared_ptr<const SKYLAdVerification>>;
  using Extensions = std::vector<SKYLXMLElementDictionary>;

  // Everything an ad is; an ad is made from one of these and never changes.
  // SKYLVelaAdBuilder is this aggregate, under the builder's names.
  struct Fields {
    std::string adTitle;
    std::string adId;
    MediaTime beginTime;
    MediaTime endTime;
    MediaTime duration;
    MediaTime logicalOffset;
    MediaTime skipOffset = MediaTime::invalid();  // invalid: cannot be skipped
    bool liveSSAI = false;
    bool adSourcePlaceholder = false;
    bool adNotSlate = false;
    bool clientOnlyTracking = false;
    int64_t adIndex = -1;
    std::vector<URL> impressionURLs;
    std::shared_ptr<const SKYLVelaTrackingEventsCollection> trackingEventsCollection;
    std::shared_ptr<const SKYLVelaCompanionAdsCollection> companionsCollection;
    std::optional<URL> clickThroughURL;
    std::vector<URL> clickTrackingURLs;
    Extensions vastAdCreativeExtensions;
    Extensions vastAdExtensions;
    Verifications adVerifications;
    std::shared_ptr<const SKYLViewableImpressionCollection> viewableImpression;
  };

  explicit SKYLVelaAd(Fields fields) : fields_(std::move(fields)) {}
  // A null title or ad id becomes the empty string. endTime = begin + duration.
  SKYLVelaAd(const std::optional<std::string>& title, const std::optional<std::string>& adId,
             MediaTime beginTime, MediaTime duration);
  SKYLVelaAd() = delete;

  // The one way to a changed ad (a live merge re-times ads, a live break
  // numbers them): a copy whose fields `change` edits.
  template <typename Change>
  std::shared_ptr<const SKYLVelaAd> copyWith(Change&& change) const {
    Fields fields = fields_;
    change(fields);
    return std::make_shared<const SKYLVelaAd>(std::move(fields));
  }
  const Fields& fields() const { return fields_; }

  const std::string& title() const { return fields_.adTitle; }
  const std::string& adId() const { return fields_.adId; }
  const MediaTime& beginTime() const { return fields_.beginTime; }
  const MediaTime& endTime() const { return fields_.endTime; }
  const MediaTime& duration() const { return fields_.duration; }
  const MediaTime& logicalOffset() const { return fields_.logicalOffset; }
  // Invalid when the ad cannot be skipped.
  const MediaTime& skipOffset() const { return fields_.skipOffset; }
  bool isLiveSSAI() const { return fields_.liveSSAI; }
  bool isAdSourcePlaceholder() const { return fields_.adSourcePlaceholder; }
  bool isAdNotSlate() const { return fields_.adNotSlate; }
  bool isClientOnlyTracking() const { return fields_.clientOnlyTracking; }
  int64_t adIndex() const { return fields_.adIndex; }
  const std::vector<URL>& impressionURLs() const { return fields_.impressionURLs; }
  const std::shared_ptr<const SKYLVelaTrackingEventsCollection>& trackingEventsCollection() const {
    return fields_.trackingEventsCollection;
  }
  const std::shared_ptr<const SKYLVelaCompanionAdsCollection>& companionsCollection() const {
    return fields_.companionsCollection;
  }
  const std::optional<URL>& clickThroughURL() const { return fields_.clickThroughURL; }
  const std::vector<URL>& clickTrackingURLs() const { return fields_.clickTrackingURLs; }
  const Extensions& vastAdCreativeExtensions() const { return fields_.vastAdCreativeExtensions; }
  const Extensions& vastAdExtensions() const { return fields_.vastAdExtensions; }
  const Verifications& adVerifications() const { return fields_.adVerifications; }
  const std::shared_ptr<const SKYLViewableImpressionCollection>& viewableImpression() const {
    return fields_.viewableImpression;
  }

  // Live flag, index, title, id, the five times, impressions, tracking
  // events, click tracking, click-through and companions.
  bool operator==(const SKYLVelaAd& other) const;
  size_t hash() const;
  std::string description() const;

 private:
  Fields fields_;
};

}  // namespace skylark
