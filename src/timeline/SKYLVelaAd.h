#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/MediaTime.h"
#include "platform/URL.h"
#include "timeline/SKYLVelaCompanionAdsCollection.h"
#include "timeline/SKYLVelaTrackingEventsCollection.h"
#include "timeline/SKYLXMLElementDictionary.h"

namespace skylark {

class SKYLAdVerification;
struct SKYLViewableImpressionCollection;

// One VAST ad stitched into the stream: where it lies on the stream's own
// clock (absolute time), the content time at which its break stands, when
// it may be skipped, and its beacons, companions and verifications.
// Built by SKYLVelaAdBuilder; immutable once shared (a live merge replaces
// an ad by a re-timed copy rather than changing it).
class SKYLVelaAd {
 public:
  using Verifications = std::vector<std::shared_ptr<const SKYLAdVerification>>;
  using Extensions = std::vector<SKYLXMLElementDictionary>;

  // A null title or ad id becomes the empty string. endTime = begin + duration.
  SKYLVelaAd(const std::optional<std::string>& title, const std::optional<std::string>& adId,
             MediaTime beginTime, MediaTime duration);
  SKYLVelaAd() = delete;

  const std::string& title() const { return title_; }
  const std::string& adId() const { return adId_; }
  const MediaTime& beginTime() const { return beginTime_; }
  const MediaTime& endTime() const { return endTime_; }
  const MediaTime& duration() const { return duration_; }
  const MediaTime& logicalOffset() const { return logicalOffset_; }
  // Invalid when the ad cannot be skipped.
  const MediaTime& skipOffset() const { return skipOffset_; }
  bool isLiveSSAI() const { return liveSSAI_; }
  bool isAdSourcePlaceholder() const { return adSourcePlaceholder_; }
  bool isAdNotSlate() const { return adNotSlate_; }
  bool isClientOnlyTracking() const { return clientOnlyTracking_; }
  int64_t adIndex() const { return adIndex_; }
  const std::vector<URL>& impressionURLs() const { return impressionURLs_; }
  const std::shared_ptr<const SKYLVelaTrackingEventsCollection>& trackingEventsCollection() const {
    return trackingEventsCollection_;
  }
  const std::shared_ptr<const SKYLVelaCompanionAdsCollection>& companionsCollection() const {
    return companionsCollection_;
  }
  const std::optional<URL>& clickThroughURL() const { return clickThroughURL_; }
  const std::vector<URL>& clickTrackingURLs() const { return clickTrackingURLs_; }
  const Extensions& vastAdCreativeExtensions() const { return vastAdCreativeExtensions_; }
  const Extensions& vastAdExtensions() const { return vastAdExtensions_; }
  const Verifications& adVerifications() const { return adVerifications_; }
  const std::shared_ptr<const SKYLViewableImpressionCollection>& viewableImpression() const {
    return viewableImpression_;
  }

  void setBeginTime(MediaTime t) { beginTime_ = t; }
  void setEndTime(MediaTime t) { endTime_ = t; }
  void setDuration(MediaTime t) { duration_ = t; }
  void setLogicalOffset(MediaTime t) { logicalOffset_ = t; }
  void setSkipOffset(MediaTime t) { skipOffset_ = t; }
  void setLiveSSAI(bool v) { liveSSAI_ = v; }
  void setAdSourcePlaceholder(bool v) { adSourcePlaceholder_ = v; }
  void setAdNotSlate(bool v) { adNotSlate_ = v; }
  void setClientOnlyTracking(bool v) { clientOnlyTracking_ = v; }
  void setAdIndex(int64_t v) { adIndex_ = v; }
  void setImpressionURLs(std::vector<URL> v) { impressionURLs_ = std::move(v); }
  void setTrackingEventsCollection(std::shared_ptr<const SKYLVelaTrackingEventsCollection> v) {
    trackingEventsCollection_ = std::move(v);
  }
  void setCompanionsCollection(std::shared_ptr<const SKYLVelaCompanionAdsCollection> v) {
    companionsCollection_ = std::move(v);
  }
  void setClickThroughURL(std::optional<URL> v) { clickThroughURL_ = std::move(v); }
  void setClickTrackingURLs(std::vector<URL> v) { clickTrackingURLs_ = std::move(v); }
  void setVastAdCreativeExtensions(Extensions v) { vastAdCreativeExtensions_ = std::move(v); }
  void setVastAdExtensions(Extensions v) { vastAdExtensions_ = std::move(v); }
  void setAdVerifications(Verifications v) { adVerifications_ = std::move(v); }
  void setViewableImpression(std::shared_ptr<const SKYLViewableImpressionCollection> v) {
    viewableImpression_ = std::move(v);
  }

  // Live flag, index, title, id, the five times, impressions, tracking
  // events, click tracking, click-through and companions.
  bool operator==(const SKYLVelaAd& other) const;
  size_t hash() const;
  std::string description() const;

 private:
  std::string title_;
  std::string adId_;
  MediaTime beginTime_;
  MediaTime endTime_;
  MediaTime duration_;
  MediaTime logicalOffset_;
  MediaTime skipOffset_ = MediaTime::invalid();
  bool liveSSAI_ = false;
  bool adSourcePlaceholder_ = false;
  bool adNotSlate_ = false;
  bool clientOnlyTracking_ = false;
  int64_t adIndex_ = -1;
  std::vector<URL> impressionURLs_;
  std::shared_ptr<const SKYLVelaTrackingEventsCollection> trackingEventsCollection_;
  std::shared_ptr<const SKYLVelaCompanionAdsCollection> companionsCollection_;
  std::optional<URL> clickThroughURL_;
  std::vector<URL> clickTrackingURLs_;
  Extensions vastAdCreativeExtensions_;
  Extensions vastAdExtensions_;
  Verifications adVerifications_;
  std::shared_ptr<const SKYLViewableImpressionCollection> viewableImpression_;
};

}  // namespace skylark
