#pragma once

#include <memory>

#include "timeline/SKYLVelaAd.h"

namespace skylark {

// The fields of an ad while its document is parsed. Not thread-safe; may
// build any number of times (each build copies the fields).
struct SKYLVelaAdBuilder {
  std::optional<std::string> adTitle;
  std::optional<std::string> adId;
  MediaTime beginTime;
  MediaTime duration;
  MediaTime logicalOffset;
  MediaTime skipOffset = MediaTime::invalid();
  bool liveSSAI = false;
  bool adSourcePlaceholder = false;
  bool adNotSlate = false;
  bool clientOnlyTracking = false;
  std::vector<URL> impressionURLs;
  std::shared_ptr<const SKYLVelaTrackingEventsCollection> trackingEventsCollection;
  std::optional<URL> clickThroughURL;
  std::vector<URL> clickTrackingURLs;
  std::shared_ptr<const SKYLVelaCompanionAdsCollection> companionsCollection;
  SKYLVelaAd::Extensions vastAdCreativeExtensions;
  SKYLVelaAd::Extensions vastAdExtensions;
  SKYLVelaAd::Verifications adVerifications;
  std::shared_ptr<const SKYLViewableImpressionCollection> viewableImpression;

  // The ad index is always -1 here; a live parser sets the real one. The
  // rvalue form moves the fields into the ad instead of copying them.
  std::shared_ptr<const SKYLVelaAd> buildAd() const&;
  std::shared_ptr<const SKYLVelaAd> buildAd() &&;
};

}  // namespace skylark
