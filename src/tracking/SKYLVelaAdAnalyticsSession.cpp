#include "tracking/SKYLVelaAdAnalyticsSession.h"

#include <algorithm>

#include "host/SKYLHostLog.h"
#include "measurement/SKYLAdVerification.h"
#include "measurement/SKYLViewableImpressionCollection.h"

namespace skylark {

BeaconContext SKYLVelaAdAnalyticsSession::context(std::string_view type) const {
  BeaconContext context;
  context.type = type;
  if (ad_) {
    context.adId = ad_->adId();
    context.adBeginTime = ad_->beginTime();
  }
  context.adPlayhead = prevTime_;
  context.breakPosition = placement_.breakPosition;
  context.podSequence = placement_.podSequence;
  context.adCount = placement_.adCount;
  return context;
}

void SKYLVelaAdAnalyticsSession::fire(const std::vector<URL>& urls, std::string_view type) {
  const BeaconContext beacon = context(type);
  for (const auto& url : urls) digester_->digestEvent(url, beacon);
}

void SKYLVelaAdAnalyticsSession::fireNamed(std::string_view name) {
  if (ad_ && ad_->trackingEventsCollection()) {
    fire(ad_->trackingEventsCollection()->URLsForTrackingEventsNamed(name), name);
  }
}

void SKYLVelaAdAnalyticsSession::trackImpression() {
  if (!ad_) return;
  if (const auto& lists = ad_->viewableImpression()) {
    fire(lists->URLsForImpression(ad_->isClientOnlyTracking(), !ad_->impressionURLs().empty()),
         "viewableImpression");
  }
  fire(ad_->impressionURLs(), "impression");
}

void SKYLVelaAdAnalyticsSession::trackCreativeView() { fireNamed("creativeView"); }

void SKYLVelaAdAnalyticsSession::trackAdVerifications() {
  if (!ad_) return;
  for (const auto& verification : ad_->adVerifications()) {
    const auto request = verification->requestURLString();
    if (!request) continue;
    // Parameters are usually JSON: their braces, quotes and spaces travel
    // percent-encoded.
    if (auto url = URL::parseEncodingInvalidCharacters(*request)) {
      digester_->digestEvent(std::move(url), context("verification"));
    } else {
      SKYLHostLog(1, "SkylarkSSAI: verification request `%@` is not a URL; not sent", *request);
    }
  }
}

namespace {

std::span<const SKYLVelaTrackingEvent> milestonesOf(const SKYLVelaAd* ad) {
  if (!ad || !ad->trackingEventsCollection()) return {};
  return ad->trackingEventsCollection()->orderedEventsWithOffsets();
}

}  // namespace

SKYLVelaAdAnalyticsSession::SKYLVelaAdAnalyticsSession(
    std::shared_ptr<const SKYLVelaAd> ad, std::shared_ptr<SKYLVelaAnalyticsDigester> digester,
    Placement placement)
    : ad_(std::move(ad)),
      digester_(std::move(digester)),
      placement_(placement),
      end_(ad_ ? ad_->endTime() : MediaTime::zero()),
      milestones_(milestonesOf(ad_.get())),
      nextMilestone_(firstMilestoneAtOrAfter(prevTime_)) {}

size_t SKYLVelaAdAnalyticsSession::firstMilestoneAtOrAfter(const MediaTime& time) const {
  const auto found = std::lower_bound(
      milestones_.begin(), milestones_.end(), time,
      [](const SKYLVelaTrackingEvent& event, const MediaTime& t) { return event.offset() < t; });
  return static_cast<size_t>(found - milestones_.begin());
}

void SKYLVelaAdAnalyticsSession::trackProgressToTime(const MediaTime& time) {
  if (!firstProgressEventHasOccured_) {
    firstProgressEventHasOccured_ = true;
    trackAdVerifications();
    trackCreativeView();
  }
  if (time > prevTime_ && time < end_ && !(time - prevTime_ > seekThreshold_)) {
    // Each milestone passed, under its own name, at the time it was seen.
    for (; nextMilestone_ < milestones_.size() && milestones_[nextMilestone_].offset() < time;
         ++nextMilestone_) {
      const auto& event = milestones_[nextMilestone_];
      if (!event.url()) continue;
      BeaconContext beacon = context(event.name());
      beacon.adPlayhead = time;
      digester_->digestEvent(*event.url(), beacon);
    }
  } else {
    nextMilestone_ = firstMilestoneAtOrAfter(time);
  }
  prevTime_ = time;
}

void SKYLVelaAdAnalyticsSession::trackAdComplete(bool skipped) {
  if (!skipped) fireNamed("complete");
  fireNamed("breakEnd");
}

void SKYLVelaAdAnalyticsSession::trackAdSkip() { fireNamed("skip"); }

void SKYLVelaAdAnalyticsSession::trackVideoClick() {
  if (ad_) fire(ad_->clickTrackingURLs(), "click");
}

void SKYLVelaAdAnalyticsSession::trackCompanionCreativeView(std::string_view identifier) {
  if (!ad_ || !ad_->companionsCollection()) return;
  const auto companion = ad_->companionsCollection()->companionAdWithIdentifier(identifier);
  if (companion && companion->trackingEventsCollection()) {
    fire(companion->trackingEventsCollection()->URLsForTrackingEventsNamed("creativeView"),
         "companionCreativeView");
  }
}

void SKYLVelaAdAnalyticsSession::trackCompanionClick(std::string_view identifier) {
  if (!ad_ || !ad_->companionsCollection()) return;
  if (const auto companion = ad_->companionsCollection()->companionAdWithIdentifier(identifier)) {
    fire(companion->clickTrackingURLs(), "companionClick");
  }
}

}  // namespace skylark
